"""Runs that end early, and what the command line does to a run."""
import os
import pathlib
import signal

import sandbox
from sandbox import MS_RDONLY, OWN_LOG

ENOUGH = 524288000  # bytes available from which on a drive is not full


class Ends(sandbox.Case):
    def test_runs_that_touch_nothing(self):
        box = self.box()
        before = box.tree()
        usage = r"usage: /opt/tool/LogCollectionTool \[options\] \.\.\. \noptions:\n(  -.+\n){5}\n"
        for arguments, out, err in (("--help", "", usage), ("-d /out --help -v", "", usage),
                                    ("-qkv --dir=/out --foo", "2.2.10.300", "")):
            result = box.run(*arguments.split())
            self.assertEqual(result.out, out)
            self.assertRegex(result.err, r"\A%s\Z" % err)
        box.run(argv0="LogCollectionTool", status=-signal.SIGABRT)  # no folder to change to
        self.assertEqual(box.tree(), before)

    def test_folders_that_the_script_keeps_from_the_tool(self):
        box = self.box()
        box.put("/project/dev", (pathlib.Path(__file__).parents[2] / "dev").read_bytes(), mode=0o755)
        box.put("/full/letter", "somebody's")
        for paths, reason in ((["/full", "/", "//", "../full", "/full/"], "holds nothing of this tool"),
                              (["/full/letter", "/dev/null"], "is a file"), ([""], "needs a folder"),
                              (["/a" + c for c in " \t\n|&;<>()$`\\\"'*?[]{}~#!"], "a shell acts on")):
            for arguments in [a for p in paths for a in (["--dir", p], ["-kqd", p], ["--dir=%s" % p])]:
                result = box.run("collect", *arguments, argv0="/project/dev", status=1)
                self.assertIn(reason, result.err, arguments)
        self.assertEqual(os.listdir(box.path("/project")), ["dev"])

    def test_early_ends(self):
        """(arguments, read-only /tmp, bytes missing on /drive) -> status and the records after the first."""
        no_root = ("error", "ensureLogRootDir", "ensureDirectoryExist /tmp/oBrelaLog failed.")
        full = "Log collection failure; Reason: The space of the drive where the (/drive/out) resides is full"
        for arguments, read_only, missing, status, after in (
                (["--dir=/proc/x"], MS_RDONLY, 0, 161, [no_root, ("error", "main", "ensureLogRootDir /proc/x failed.")]),
                (["--dir=/drive/out"], 0, 4096, 163, [("error", "main", full)]), (["--dir=/drive/out"], 0, 0, 0, None)):
            with self.subTest(status):
                box = self.box()
                sandbox.mount("tmpfs", box.path("/tmp"), "tmpfs", read_only)
                box.make(os.mkdir, "/drive")
                sandbox.mount("tmpfs", box.path("/drive"), "tmpfs", 0, "size=%d" % (ENOUGH - missing))
                out = box.run(*arguments, status=status).out
                self.assertEqual(("Collection log completed.\n" in out, len(box.calls("open"))), (not status, not status))
                if after:
                    self.assertEqual([x[1:] for x in box.log()], [("info", "main", "Collection log start")] + after)

    def test_own_log_that_cannot_be_had(self):
        """(what stands in its place) -> whether there is a log all the same; the archive is made in any case."""
        for make, path, logged in ((os.mknod, os.path.dirname(OWN_LOG), True), (os.mkdir, OWN_LOG, False),
                                   (os.mkfifo, OWN_LOG, True)):
            box = self.box()
            box.make(make, path)
            result = box.run()
            self.assertEqual("LogColltionTool.log" in box.zip(), logged)
            self.assertEqual("log isn't inited." in result.err, not logged)
            self.assertIn("Collection log completed.\n", result.out)


if __name__ == "__main__":
    sandbox.main()
