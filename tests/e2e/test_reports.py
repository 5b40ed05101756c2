"""The three report files, whole, against fake commands."""
import calendar
import os
import time

import sandbox
from sandbox import BANNER, SHARED, UEM_LOGS, printed

EXTENSIONS = "/Library/SystemExtensions/db.plist"
EAST = {"TZ": "<+05>-5"}


def grepped(word, drop="\0"):
    return "".join(line + "\n" for line in sandbox.PS.splitlines() if word in line and drop not in line)


def listing(*folders):
    return "".join(printed("ls", "-l", "-R", folder) for folder in folders)


def report(*sections):
    return "".join(BANNER % title + text for title, text in sections)


def system_report(system, user):
    data = listing(SHARED, "/Users/root" + SHARED, *(["/Users/" + user + SHARED] if user else []))
    units = ("systemctl", "--no-pager", "--all", "list-units")
    os_info, network, users, plist, route, launch = {
        "linux": ("NAME=box\n" + printed("uname", "-a"), printed("ip", "-s", "address"),
                  printed("who", "-a") + printed("loginctl", "--no-pager", "list-sessions"), printed(*units),
                  printed("ip", "address", "show", "utun7") + printed("ip", "route", "show", "table", "all"),
                  printed(*units, "--type=service") + printed("systemctl", "--no-pager", "list-unit-files",
                                                              "--type=service") +
                  listing("/etc/systemd/system", "/etc/xdg/autostart")),
        "macos": ("<plist/>\n", printed("ifconfig"), grepped("loginwindow", drop="grep"), printed("launchctl", "list"),
                  printed("ifconfig", "utun7") + printed("netstat", "-nr"),
                  listing("/Library/LaunchDaemons", "/Library/LaunchAgents"))}[system]
    return report(("os info", os_info), ("netcard", network), ("user info", users),
                  ("obrela process info", grepped("oBrela")), ("ferngateway process info", grepped("FernGateway")),
                  ("plist info", plist), ("route info", route), ("resolv dns info", "nameserver 192.0.2.1\n"),
                  ("file permission info", data), ("Launch info", launch))


class Reports(sandbox.Case):
    def check_query(self, query, options, began):
        """A query of the unified log: the last ten minutes of the run, in local time."""
        self.assertEqual(query[:2] + query[3:4] + query[5:], options)
        start, end = (calendar.timegm(time.strptime(query[at], "%Y-%m-%d %H:%M:%S")) for at in (2, 4))
        self.assertEqual(end - start, 600)
        self.assertTrue(int(began) <= end - 5 * 3600 <= time.time(), end)

    def test_reports_of_a_run(self):
        """With ada at the screen, and with an account that is not known."""
        for user in "ada", None:
            with self.subTest(user):
                box, began = self.box(console=user), time.time()
                box.put(UEM_LOGS + "u.log")
                if user:
                    box.put(EXTENSIONS)
                else:
                    box.put("/run/systemd/seats/seat0", "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=4711\n")
                    os.remove(box.path("/fakes/csrutil"))
                box.run(env=EAST)
                contents = {name: text.decode() for name, text in box.zip().items()}
                self.assertEqual(contents["system_info.log"], system_report("linux", user))
                self.assertEqual(contents["logs/uem_%s/system_state.log" % (user or "root")], report(
                    ("UEM processes", grepped("QMUem", drop="grep")), ("Kernel state", printed("sysctl", "-a")),
                    ("SIP state", printed("csrutil", "status") if user else ""), ("KEXT state", printed("kextstat")),
                    *([("SEXT state", printed("plutil", "-p", EXTENSIONS))] if user else [])))
                [query] = box.calls("journalctl")
                self.check_query(query, ["--no-pager", "--since", "--until", "--case-sensitive=yes", "--grep=quelmar"], began)
                self.assertEqual(contents["logs/system_wide.log"], printed("journalctl", *query))

    def test_blanks_in_the_output_folder(self):
        """The system report quotes its target; the others do not, and their redirection breaks at the blank."""
        box = self.box()
        box.put(UEM_LOGS + "u.log")
        box.run("--dir", "/out/with blank")
        contents = box.zip("/out/with blank")
        self.assertEqual(contents["system_info.log"].decode(), system_report("linux", None))
        self.assertNotIn("logs/system_wide.log", contents)
        self.assertEqual(box.calls("open"), [["-R", "/out/with", "blank/" + box.archives("/out/with blank")[0]]])
        self.assertIn(["-R", "777", "/out/with", "blank/logFiles"], box.calls("chmod"))

    def test_command_lines_of_macos(self):
        box, began = self.box(console="ada", tool=os.environ["REPORT_WITH_TABLE"]), time.time()
        box.put("/System/Library/CoreServices/SystemVersion.plist", "<plist/>\n")
        box.run("macos", "/tmp", env=EAST)
        self.assertEqual(box.read("/tmp/system_info.log").decode(), system_report("macos", "ada"))
        [query] = box.calls("log")
        self.check_query(query, ["show", "--start", "--end", "--predicate", 'eventMessage contains "quelmar"'], began)
        self.assertEqual(box.read("/tmp/system_wide.log").decode(), printed("log", *query))


if __name__ == "__main__":
    sandbox.main()
