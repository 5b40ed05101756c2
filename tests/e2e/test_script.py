"""What ./dev keeps from the tool."""
import os
import pathlib

import sandbox


class Script(sandbox.Case):
    def test_folders_that_the_script_keeps_from_the_tool(self):
        box = self.box()
        box.put("/project/dev", (pathlib.Path(__file__).parents[2] / "dev").read_bytes(), mode=0o755)
        for name in "letter", "oBrelaLog_2.5.16.20_20261122090000.zip":
            box.put("/full/" + name, "somebody's")
        for paths, reason in ((["/full", "/", "//", "../full", "/full/"], "is not the tool's own"),
                              (["/full/letter", "/dev/null"], "is a file"), ([""], "needs a folder"),
                              (["/a" + c for c in " \t\n|&;<>()$`\\\"'*?[]{}~#!"], "a shell acts on")):
            for arguments in [a for p in paths for a in (["--dir", p], ["-kqd", p], ["--dir=%s" % p])]:
                result = box.run("collect", *arguments, argv0="/project/dev", status=1)
                self.assertIn(reason, result.err, arguments)
        self.assertEqual(os.listdir(box.path("/project")), ["dev"])
