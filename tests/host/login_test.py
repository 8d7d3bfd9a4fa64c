"""Passwords, the trace and the kind of connection."""
import os
import stat

from host_fixture import HostTest, PASSWORD, main


class Login(HostTest):
    def setUp(self):
        super().setUp()
        self.write(self.remote, "f")
        self.server = self.start()
        self.with_user = self.server.url.replace("://", "://ann@")

    def test_takes_the_password_from_the_environment(self):
        self.assertEqual(self.host("ls", self.with_user, environment={"FTP_PASSWORD": PASSWORD}).stdout, b"f\n")

    def test_takes_the_password_from_standard_input(self):
        done = self.host("--password-stdin", "ls", self.with_user, input=PASSWORD.encode() + b"\n")
        self.assertEqual(done.stdout, b"f\n")

    def test_asks_on_the_terminal_without_echo(self):
        code, shown = self.on_terminal("ls", self.with_user, typed=PASSWORD.encode() + b"\n")
        self.assertEqual(code, 0, shown)
        self.assertIn(b"Password of ann at 127.0.0.1", shown)
        self.assertNotIn(PASSWORD.encode(), shown)
        self.assertTrue(shown.rstrip().endswith(b"f"))

    def test_ctrl_c_at_the_prompt_cancels(self):
        code, _ = self.on_terminal("ls", self.with_user, typed=b"\x03")
        self.assertEqual(code, 130)

    def test_the_trace_holds_the_dialogue_and_no_password(self):
        trace = os.path.join(self.local, "trace")
        self.host("--trace", trace, "ls", self.with_user, environment={"FTP_PASSWORD": PASSWORD})
        with open(trace) as file:
            text = file.read()
        self.assertIn("USER ann", text)
        self.assertIn("MLSD", text)
        self.assertNotIn(PASSWORD, text)
        self.assertEqual(stat.S_IMODE(os.stat(trace).st_mode), 0o600)

    def test_active_mode_reaches_the_plugin(self):
        self.host("--active", "ls", self.server.url)
        self.assertTrue({"EPRT", "PORT"} & set(self.server.commands))
        self.assertNotIn("EPSV", self.server.commands)


if __name__ == "__main__":
    main()
