"""Runs that end early, and what the command line does to a run."""
import os
import pathlib
import signal

import sandbox
from sandbox import OWN_LOG, ROOT_DIR

ENOUGH = 524288000  # bytes available from which on a drive is not full


class Ends(sandbox.Case):
    def test_runs_that_touch_nothing(self):
        box = self.box()
        before = box.tree()
        usage = r"usage: /opt/tool/LogCollectionTool \[options\] \.\.\. \noptions:\n(  -.+\n){5}\n"
        for arguments, out, err in (("--help", "", usage), ("-d /out --help -v", "", usage),
                                    ("-qkv --dir=/out --foo", "2.2.10.300", "")):
            with self.subTest(arguments):
                result = box.run(*arguments.split())
                self.assertEqual(result.out, out)
                self.assertRegex(result.err, r"\A%s\Z" % err)
        result = box.run(argv0="LogCollectionTool", status=-signal.SIGABRT)  # no folder to change to
        self.assertEqual(result.out, "app path:LogCollectionTool\nset sdp agent current work path \n")
        self.assertEqual(box.tree(), before)

    def test_folders_that_the_script_keeps_from_the_tool(self):
        box = self.box()
        box.put("/project/dev", (pathlib.Path(__file__).parents[2] / "dev").read_bytes(), mode=0o755)
        box.put("/full/letter", "somebody's")
        for paths, reason in ((["/full", "/", "//", "../full", "/full/"], "holds nothing of this tool"),
                              (["/full/letter", "/dev/null"], "is a file"), ([""], "needs a folder"),
                              (["/a" + c for c in " \t\n|&;<>()$`\\\"'*?[]{}~#!"], "a shell acts on")):
            for arguments in [a for p in paths for a in (["--dir", p], ["-kqd", p], ["--dir=%s" % p])]:
                with self.subTest(arguments):
                    result = box.run("collect", *arguments, argv0="/project/dev", status=1)
                    self.assertIn(reason, result.err)
        self.assertEqual(os.listdir(box.path("/project")), ["dev"])

    def test_output_folder(self):
        """Where the archive goes, by arguments; anything unusable means the default, without a word."""
        for arguments, folder in ((["--dir=/out/a"], "/out/a"), (["-qd", "/out/c/"], "/out/c"),
                                  (["--dir", "/file"], "/file"), (["--dir", "/old"], "/old"),
                                  (["-d", "made/here"], "/opt/tool/made/here"),
                                  (["--dir=/proc/none/x"], ROOT_DIR), (["-d"], ROOT_DIR),
                                  (["--foo", "-x", "-", "word", "--quiet=x", "--dir="], ROOT_DIR)):
            with self.subTest(arguments):
                box = self.box()
                box.put("/file", "in the way")
                box.make(os.mkdir, "/old", 0o750)
                out = box.run(*arguments, argv0="./LogCollectionTool", shell='cd /opt/tool; exec "$@"').out
                self.assertIn("app path:./LogCollectionTool\nset sdp agent current work path .\n", out)
                self.assertEqual((os.listdir(box.path(folder)), len(box.archives(folder))), (box.archives(folder), 1))
                self.assertEqual(os.stat(box.path(folder)).st_mode & 0o7777, 0o750 if folder == "/old" else 0o777)
                self.assertEqual(os.path.exists(box.path(ROOT_DIR)), folder == ROOT_DIR)
                self.assertEqual(len(box.calls("open")), 0 if arguments[0] == "-qd" else 1)
                self.assertEqual(box.messages("ensureLogRootDir"), [])

    def test_early_ends(self):
        """(arguments, read-only /tmp, bytes missing on /drive) -> status and the records after the first."""
        no_root = ("error", "ensureLogRootDir", "ensureDirectoryExist /tmp/oBrelaLog failed.")
        full = "Log collection failure; Reason: The space of the drive where the (/drive/out) resides is full"
        for arguments, read_only, missing, status, after in (
                ([], True, 0, 161, [no_root, ("error", "main", "ensureLogRootDir  failed.")]),
                (["--dir=/proc/x"], True, 0, 161, [no_root, ("error", "main", "ensureLogRootDir /proc/x failed.")]),
                (["--dir=/drive/out"], False, 4096, 163, [("error", "main", full)]),
                (["--dir=/drive/out"], False, 0, 0, None)):
            with self.subTest(arguments, missing=missing):
                box = self.box()
                sandbox.mount("tmpfs", box.path("/tmp"), "tmpfs", sandbox.MS_RDONLY if read_only else 0)
                box.make(os.mkdir, "/drive")
                sandbox.mount("tmpfs", box.path("/drive"), "tmpfs", 0, "size=%d" % (ENOUGH - missing))
                out = box.run(*arguments, status=status).out
                self.assertEqual("Collection log completed.\n" in out, status == 0)
                self.assertEqual(len(box.calls("open")), 1 if status == 0 else 0)
                if after:
                    self.assertEqual([x[1:] for x in box.log()], [("info", "main", "Collection log start")] + after)

    def test_own_log_that_cannot_be_had(self):
        """(what stands in its place) -> whether there is a log all the same; the archive is made in any case."""
        logs = os.path.dirname(OWN_LOG)
        for case, logged in (("file", True), ("folder", False), ("FIFO", True), ("read-only", False)):
            with self.subTest(case):
                box = self.box()
                {"file": lambda: box.put(logs, "in the way"), "folder": lambda: box.make(os.mkdir, OWN_LOG),
                 "FIFO": lambda: box.make(os.mkfifo, OWN_LOG), "read-only": lambda: sandbox.mount(
                     "tmpfs", box.path("/Users"), "tmpfs", sandbox.MS_RDONLY)}[case]()
                result = box.run()
                self.assertEqual("LogColltionTool.log" in box.zip(), logged)
                self.assertEqual("log isn't inited." in result.err, not logged)
                self.assertIn("Collection log completed.\n", result.out)


if __name__ == "__main__":
    sandbox.main()
