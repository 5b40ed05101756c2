"""The three report files, whole, against fake commands."""
import calendar
import os
import re
import time

import sandbox
from sandbox import UEM_LOGS, expected, printed

EXTENSIONS = "/Library/SystemExtensions/db.plist"
EAST = {"TZ": "<+05>-5"}


class Reports(sandbox.Case):
    def check_query(self, query, options, began):
        """A query of the unified log: the last ten minutes of the run, in local time."""
        self.assertEqual(query[:2] + query[3:4] + query[5:], options)
        start, end = (calendar.timegm(time.strptime(query[at], "%Y-%m-%d %H:%M:%S")) for at in (2, 4))
        self.assertEqual(end - start, 600)
        self.assertTrue(int(began) <= end - 5 * 3600 <= time.time(), end)

    def test_reports_of_a_run(self):
        """With everything that they tell of, and without: an account that is not known, a command that is missing."""
        for user in "ada", None:
            box, began = self.box(console=user), time.time()
            box.put(UEM_LOGS + "u.log")
            info, state = expected("system_info.linux"), expected("system_state")
            if user:
                box.put(EXTENSIONS)
            else:
                box.put("/run/systemd/seats/seat0", "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=4711\n")
                os.remove(box.path("/fakes/csrutil"))
                info, state = re.sub("ls: .*/ada/.*\n", "", info), re.sub("csrutil.*\n|=+ SEXT.*\n.*\n", "", state)
            box.run(env=EAST)
            contents = {name: text.decode() for name, text in box.zip().items()}
            self.assertEqual(contents["system_info.log"], info)
            self.assertEqual(contents["logs/uem_%s/system_state.log" % (user or "root")], state)
            [query] = box.calls("journalctl")
            self.check_query(query, ["--no-pager", "--since", "--until", "--case-sensitive=yes", "--grep=quelmar"], began)
            self.assertEqual(contents["logs/system_wide.log"], printed("journalctl", *query))

    def test_command_lines_of_macos(self):
        box, began = self.box(console="ada", tool=sandbox.MACOS_COMMANDS), time.time()
        box.put("/System/Library/CoreServices/SystemVersion.plist", "<plist/>\n")
        box.run(env=EAST)
        self.assertEqual(box.zip()["system_info.log"].decode(), expected("system_info.macos"))
        [query] = box.calls("log")
        self.check_query(query, ["show", "--start", "--end", "--predicate", 'eventMessage contains "quelmar"'], began)
        self.assertEqual(box.zip()["logs/system_wide.log"].decode(), printed("log", *query))
