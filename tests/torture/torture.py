#!/usr/bin/python3
"""Tortures the synchronisation: random trees, names, rights and edits, real servers at their default limits, and
kills, cuts, refusals, restarts and second runs at random moments. After every run both trees are looked at on disk.

Prints a summary of runs, disturbances and findings; exit code 1 when a property broke. Every finding comes with the
command that replays it, made as small as it gets.
"""
import argparse
import collections
import concurrent.futures
import multiprocessing
import pathlib
import random
import signal
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import known
import plan
import play
import servers

LONGEST_MINIMISATION = 60  # seconds for one finding
MINIMISED_OF_A_KIND = 2    # further findings of a kind on a server are printed as they are


def scenario_of(bench, seed, options, only=None):
    drawn = plan.draw(seed, bench.server)
    spared = set(options.spare.split(",") if options.spare else ())
    if options.spare_known:
        spared |= known.spared(bench.server.name, drawn["up"])
    if spared:
        drawn = plan.draw(seed, bench.server, spared)
    if only is not None:
        drawn["atoms"] = [atom for index, atom in enumerate(drawn["atoms"]) if index in only]
    return drawn


def kinds_of(findings):
    return {kind for kind, _ in findings}


class Minimiser:
    """Leaves atoms out as long as a finding of the same kind comes."""

    def __init__(self, bench, seed, options, kinds):
        self.bench, self.seed, self.options, self.kinds = bench, seed, options, kinds
        self.limit = time.monotonic() + LONGEST_MINIMISATION
        self.runs = 0

    def fails(self, only):
        played = play.Play(self.bench, scenario_of(self.bench, self.seed, self.options, set(only)))
        found = played.play()
        self.runs += played.counts["runs"]
        return bool(kinds_of(found) & self.kinds)

    def minimise(self, count):
        kept = list(range(count))
        if not self.fails(kept):
            return None  # it needs more luck than that
        size = max(1, len(kept) // 2)
        while time.monotonic() < self.limit:
            at, smaller = 0, False
            while at < len(kept) and time.monotonic() < self.limit:
                without = kept[:at] + kept[at + size:]
                if self.fails(without):
                    kept, smaller = without, True
                else:
                    at += size
            if size == 1 and not smaller:
                break
            size = max(1, size // 2)
        return kept


def command_of(server, seed, options, only=None):
    command = f"scripts/sync-torture --replay {server}:{seed}"
    if options.spare_known:
        command += " --spare-known"
    if options.spare:
        command += " --spare " + options.spare
    if only is not None:
        command += " --only " + ",".join(str(index) for index in only)
    return command


def tell(lock, text):
    with lock:
        print(text, flush=True)


def torture(options, server, seeds, until, lock):
    """Plays the scenarios of `seeds` on one server. Answers counts and findings."""
    counts, findings = collections.Counter(), collections.Counter()
    bench = play.Bench(options.build, server)
    try:
        for seed in seeds:
            if time.monotonic() > until or (options.runs and counts["runs"] >= options.runs):
                break
            scenario = scenario_of(bench, seed, options)
            played = play.Play(bench, scenario)
            found = played.play()
            counts += played.counts
            counts["scenarios"] += 1
            if not found:
                continue
            kinds = kinds_of(found)
            lines = [f"{server}: {kind}: {detail}" for kind, detail in found[:5]]
            only = None
            if options.minimise and any(findings[kind] < MINIMISED_OF_A_KIND for kind in kinds):
                minimiser = Minimiser(bench, seed, options, kinds)
                only = minimiser.minimise(len(scenario["atoms"]))
                counts["runs"] += minimiser.runs
            findings.update(kinds)
            tell(lock, "\n".join(lines + ["    " + command_of(server, seed, options, only)]))
    finally:
        bench.end()
    return server, counts, findings


def replay(options):
    server, seed = options.replay.split(":")
    only = {int(index) for index in options.only.split(",")} if options.only else None
    broken = 0
    bench = play.Bench(options.build, server)
    try:
        for _ in range(options.times):
            scenario = scenario_of(bench, int(seed), options, only)
            played = play.Play(bench, scenario)
            found = played.play()
            broken += bool(found)
            print({key: value for key, value in scenario.items() if key != "atoms"})
            for atom in scenario["atoms"]:
                print("  ", atom)
            for disturbance, fired, codes, error in played.log:
                print(f"run: {disturbance}{'' if fired else ' (did not come to it)'}, exit codes {codes}")
                sys.stdout.flush()
                sys.stdout.buffer.write(b"".join(b"    " + line + b"\n" for line in error.splitlines()))
            for kind, detail in found:
                print(f"BROKEN {kind}: {detail}")
    finally:
        bench.end()
    print(f"{broken} of {options.times} broke a property")
    return 1 if broken else 0


def default_build():
    for preset in ("release", "dev"):
        folder = servers.SOURCES / "build" / preset
        if (folder / "ftp-host").exists():
            return folder
    sys.exit("sync-torture: build ftp, ftp-host and test-servers first")


def arguments():
    parser = argparse.ArgumentParser(prog="sync-torture", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--minutes", type=float, default=5, help="how long (default 5)")
    parser.add_argument("--runs", type=int, default=0, help="stop earlier, after so many runs on each server")
    parser.add_argument("--seed", type=int, help="of the first scenario (default: another one each time)")
    parser.add_argument("--server", action="append", choices=list(servers.KINDS), help="only this one; repeatable")
    parser.add_argument("--jobs", type=int, default=2, help="servers at a time (default 2)")
    parser.add_argument("--spare-known", action="store_true", help="leave out what known.py lists")
    parser.add_argument("--spare", metavar="FEATURE,...", help="leave out: name-dot, links, rights, refuse, kill ...")
    parser.add_argument("--no-minimise", dest="minimise", action="store_false", help="print findings as they are")
    parser.add_argument("--build", type=pathlib.Path, help="folder with ftp-host and ftp.so")
    parser.add_argument("--replay", metavar="SERVER:SEED", help="play one scenario and show all of it")
    parser.add_argument("--only", metavar="N,N,...", help="with --replay: these of its operations")
    parser.add_argument("--times", type=int, default=1, help="with --replay: so often")
    options = parser.parse_args()
    options.build = options.build or default_build()
    return options


def give_up(*_):
    raise KeyboardInterrupt


def work(options, server, seed, seconds, lock):
    # An end by a signal, too, takes the servers and the folders along.
    signal.signal(signal.SIGTERM, give_up)
    try:
        return torture(options, server, range(seed, seed + 1_000_000), time.monotonic() + seconds, lock)
    except servers.Missing as problem:
        return server, str(problem), None
    except KeyboardInterrupt:
        return server, collections.Counter(), collections.Counter()


def main():
    options = arguments()
    signal.signal(signal.SIGTERM, give_up)
    if options.replay:
        return replay(options)
    seed = options.seed if options.seed is not None else random.SystemRandom().randrange(10**9)
    names = options.server or list(servers.KINDS)
    jobs = min(options.jobs, len(names))
    begin = time.monotonic()
    share = options.minutes * 60 * jobs / len(names)
    print(f"seed {seed}, {len(names)} servers, {options.minutes:g} minutes", flush=True)
    manager = multiprocessing.Manager()
    lock = manager.Lock()
    total, findings, missing = collections.Counter(), collections.Counter(), []
    with concurrent.futures.ProcessPoolExecutor(jobs) as pool:
        futures = [pool.submit(work, options, name, seed, share, lock) for name in names]
        for future in futures:
            server, counts, found = future.result()
            if found is None:
                missing.append(counts)
                continue
            total += counts
            findings += found
            print(f"{server}: {counts['scenarios']} scenarios, {counts['runs']} runs, "
                  f"{sum(found.values())} findings", flush=True)
    for text in missing:
        print(f"not there: {text}")
    disturbed = {name: number for name, number in sorted(total.items()) if name not in ("runs", "scenarios")}
    kills = total["kill"] + total["interrupt"]
    print(f"{total['scenarios']} scenarios, {total['runs']} runs, {kills} kills, "
          f"{sum(disturbed.values())} disturbances {disturbed}, {time.monotonic() - begin:.0f} s")
    print("findings: " + (", ".join(f"{number} {kind}" for kind, number in findings.most_common()) or "none"))
    return 1 if findings or missing else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
