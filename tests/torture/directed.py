#!/usr/bin/python3
"""Scenarios that go for one way of losing a file each.

    directed.py [--build FOLDER] [--list] [--passing] [NAME...]

NAME is that of a function in cases_removal.py or cases_copying.py, with :SERVER where there are several. Exit code
1 when a scenario fails that known.py does not expect to, or passes although it does.
"""
import argparse
import pathlib
import sys
import time
import traceback

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import known
import servers
import stage
import torture
from cases_copying import CASES

def chosen(names):
    found = [name for name in CASES if not names or name in names or name.split(":")[0] in names]
    if names and not found:
        sys.exit(f"directed.py: no scenario is called {' '.join(names)}")
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path)
    parser.add_argument("--list", action="store_true", help="names and whether they are expected to fail")
    parser.add_argument("--passing", action="store_true", help="only those that are expected to pass")
    parser.add_argument("names", nargs="*", metavar="NAME")
    options = parser.parse_args()
    names = chosen(options.names)
    if options.passing:
        names = [name for name in names if not known.expected_to_fail(name)]
    if options.list:
        for name in names:
            print(name, "(expected to fail)" if known.expected_to_fail(name) else "")
        return 0
    build = options.build or torture.default_build()
    wrong = 0
    for name in names:
        begin = time.monotonic()
        function, server = CASES[name]
        problem = ""
        try:
            function(build, server)
        except stage.Broken as broken:
            problem = str(broken)
        except servers.Missing as missing:
            problem = f"not there: {missing}"
        except Exception:
            problem = "the scenario itself failed:\n" + traceback.format_exc()
        expected = known.expected_to_fail(name)
        verdict = {(False, False): "ok", (True, False): "FAILED", (True, True): "fails, as expected",
                   (False, True): "PASSED: take it off the list"}[bool(problem), expected]
        wrong += bool(problem) != expected
        print(f"{verdict}: {name} ({time.monotonic() - begin:.1f} s){': ' if problem else ''}{problem}", flush=True)
    print(f"{len(names)} scenarios, {wrong} not as expected")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
