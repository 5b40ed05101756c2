"""Nothing of somebody else's is written, given a mode, packed or deleted: not through what others planted, not when it
cannot be removed, and not when a look-up fails."""
import errno
import os
import time

import faults
import sandbox
from faults import VICTIM
from sandbox import APP, LAUNCHD, OWN_LOG, ROOT_DIR, SCRATCH, SHARED

ADA, BOB = 1000, 1001
REPORT = ROOT_DIR + "/system_info.log"
OWN_FOLDER = os.path.dirname(OWN_LOG)


class Links(faults.FaultCase):
    def plant(self, box, path, target, owner=ADA):
        box.link(target, path)
        os.lchown(box.path(path), owner, owner)

    def victim(self, box):
        """Documents full of the names that the tool uses; returns what they are like."""
        for name in ("logs/old.log", "database/a.db", "x.zip", "system_state.log", "LogColltionTool.log"):
            box.put(VICTIM + "/" + name, "precious", mode=0o600)
        os.chmod(box.path(VICTIM), 0o700)
        return box.tree(VICTIM)

    def spared(self, box):
        """A run that makes a whole archive and leaves ada's documents as they are."""
        before = self.victim(box)
        box.run()
        self.assertEqual(box.tree(VICTIM), before)
        self.assertWhole(box)

    def test_planted_before_the_run(self):
        """Links that somebody else planted | default root, scratch folder and folders in it, report, own log and folders above it | each is replaced by the tool's own file or folder; what it led to keeps content and mode"""
        for path, target in ((ROOT_DIR, VICTIM), (SCRATCH, VICTIM), (SCRATCH + "/logs", VICTIM),
                             (SCRATCH + "/logs/ada", VICTIM), (ROOT_DIR + "/d/a", VICTIM),
                             (REPORT, VICTIM + "/keep.log"), (OWN_LOG, VICTIM + "/keep.log"), (REPORT, VICTIM + "/new.log"),
                             (OWN_LOG, VICTIM + "/new.log"), (OWN_FOLDER, VICTIM), (os.path.dirname(OWN_FOLDER), VICTIM)):
            with self.subTest(path, target=target):
                box = self.box()
                self.plant(box, path, target)
                self.spared(box)

    def test_planted_at_the_archives_name(self):
        """Links at the name that the archive will have | for each second of the next minute | as above; the other links stay where they are"""
        for target in (VICTIM + "/keep.log", VICTIM + "/new.zip"):
            box = self.box()
            for second in range(60):
                stamp = time.strftime("%Y%m%d%H%M%S", time.gmtime(time.time() + second))
                self.plant(box, "%s/oBrelaLog_2.5.16.20_%s.zip" % (ROOT_DIR, stamp), target)
            before = box.tree(VICTIM)
            box.run()
            self.assertEqual(box.tree(VICTIM), before)
            files = [n for n in box.archives() if not os.path.islink(box.path(ROOT_DIR + "/" + n))]
            self.assertEqual((len(files), len(box.archives())), (1, 60))

    def test_swapped_in_during_the_run(self):
        """Links swapped in while the tool works | a command replaces the report, or a folder of copies, by a link | as above; what was swapped away is lost"""
        for fake, path, target in (("ip", REPORT, VICTIM + "/keep.log"), ("chmod", SCRATCH + "/logs", VICTIM)):
            with self.subTest(path):
                swap = "if [ $2 != 666 ] && [ ! -L {0} ]; then rm -rf {0}; ln -s {1} {0}; chown -h 1000:1000 {0}; fi\n"
                rest = 'exec /bin/chmod "$@"' if fake == "chmod" else "echo ip"
                self.spared(self.box(fakes={fake: swap.format(path, target) + rest}))

    def test_that_cannot_be_removed(self):
        """Links and hard links to files of the calling user's, planted in his way by another user whose sticky folder they are in | each of the names above, as an ordinary user | no file or folder behind them changes, nothing of theirs is in the archive, and a record says what is left out"""
        self.need_second_user()
        logs, told = "/data/oBrela/logs", None
        for path, target, told in (
                (SCRATCH, VICTIM, r"create_directories\(.*\) return failed"), (SCRATCH + "/logs", VICTIM, r"dir .*/logs not exist"),
                (SCRATCH + "/database", VICTIM, r"dir .*/database not exist"),
                (SCRATCH + "/logs/uem_ada", VICTIM, "report .*/uem_ada left out"),
                (SCRATCH + "/logs/system_wide.log", VICTIM + "/keep.log", "report .*/system_wide.log left out"),
                (SCRATCH + "/closed/x", VICTIM + "/keep.log", "cmdPopen chmod -R 777 .* fail"),
                (REPORT, VICTIM + "/keep.log", "report .*/system_info.log left out"),
                (logs + "/LogColltionTool.1.log", VICTIM + "/keep.log", "log .* not rotated"),
                (logs, VICTIM, None), ("/data/oBrela", VICTIM, None), (logs + "/LogColltionTool.log", VICTIM + "/keep.log", None)):
            for hard in (False, True) if target != VICTIM and "/logs" not in path[:-len("/logs/")] else (False,):
                with self.subTest(path, hard=hard):
                    box = self.box()
                    box.put("/data/oBrela/logs/x" if path not in (logs, "/data/oBrela") else "/data/x")
                    if hard:
                        box.make(lambda where: os.link(box.path(target), where), path)
                    else:
                        box.link(target, path)
                    for top in (ROOT_DIR, "/data"):
                        for folder, folders, names in os.walk(box.path(top)):
                            for where in [folder] + [folder + "/" + name for name in folders + names]:
                                if os.path.islink(where) or os.path.isdir(where):
                                    os.lchown(where, BOB, BOB)
                            os.chmod(folder, 0o755 if folder.endswith("closed") else 0o1777)
                    self.victim(box)
                    for folder, _, names in os.walk(box.path(VICTIM)):
                        for where in [folder] + [folder + "/" + name for name in names]:
                            os.chown(where, BOB if hard else ADA, BOB if hard else ADA)
                    if hard:  # so that the link cannot be removed, and could be written to
                        os.chmod(box.path(VICTIM + "/keep.log"), 0o666)
                    before = box.tree(VICTIM)
                    result = box.run(user=ADA, env={"XDG_DATA_HOME": "/data"})
                    self.assertEqual(box.tree(VICTIM), before)
                    contents = box.zip()
                    self.assertFalse([n for n, c in contents.items() if c.startswith(b"precious")])
                    if told:
                        self.assertRegex("\n".join(x.message for x in box.log(logs + "/LogColltionTool.log")), told)
                    else:
                        self.assertIn("initLogName failed.", result.err)

    def test_removals_and_look_ups_that_fail(self):
        """A removal or look-up that fails | unlink, or all looking up, fails at each name of the tool's where a link stands, or a folder of earlier output or of the client's | nothing behind the links changes and no folder is deleted; a record says what is left out"""
        for path, calls, error, target, told in (
                (SCRATCH, "unlink unlinkat", errno.EPERM, VICTIM, r"create_directories\(.*\) return failed"),
                (SCRATCH, "lstat fstatat stat statx", errno.EIO, VICTIM, r"create_directories\(.*\) return failed"),
                (REPORT, "unlink unlinkat remove", errno.EPERM, VICTIM + "/keep.log", "report .* left out"),
                (OWN_LOG, "unlink unlinkat", errno.EPERM, VICTIM + "/keep.log", None),
                (OWN_LOG, "lstat fstatat", errno.EIO, VICTIM + "/keep.log", None),
                (OWN_FOLDER, "lstat fstatat", errno.EIO, None, None),
                (ROOT_DIR, "lstat fstatat", errno.EIO, None, "ensureDirectoryExist .* failed"),
                (ROOT_DIR, "unlink", errno.EPERM, VICTIM, "ensureDirectoryExist .* failed")):
            with self.subTest(path, calls=calls):
                box = self.box()
                if target:
                    self.plant(box, path, target)
                else:
                    box.put(path + "/precious.zip", "precious")
                before = self.victim(box)
                result = box.run(env=self.failing(box, calls, path, error), status=161 if path == ROOT_DIR else 0)
                self.assertEqual(box.tree(VICTIM), before)
                if target is None:
                    self.assertEqual(box.read(path + "/precious.zip"), b"precious")
                self.assertRegex("\n".join(box.messages()) if told else result.err, told or "initLogName failed")

    def test_hard_links(self):
        """Hard links to another user's file | at the report's and the own log's name | the name is given to a file of the tool's own, the other keeps its content and mode"""
        for path in (REPORT, OWN_LOG):
            with self.subTest(path):
                box = self.box()
                box.make(lambda where: os.link(box.path(VICTIM + "/keep.log"), where), path)
                box.run()
                status = os.stat(box.path(VICTIM + "/keep.log"))
                self.assertEqual((box.read(VICTIM + "/keep.log"), status.st_mode & 0o7777), (b"precious", 0o640))
                self.assertWhole(box)

    def test_root_folder_of_somebody_else(self):
        """The default root made beforehand by another user, as a folder of his full of links | every name the tool uses | the folder is used as it is; no link in it is followed"""
        box = self.box()
        os.makedirs(box.path(ROOT_DIR), 0o755)
        os.chown(box.path(ROOT_DIR), ADA, ADA)
        for name in ("logFiles", "system_info.log", "a.zip", "b.log", "oBrelaLog_2.5.16.20_20000101000000.zip"):
            self.plant(box, ROOT_DIR + "/" + name, VICTIM + ("/keep.log" if "." in name else ""))
        before = box.tree(VICTIM)
        box.run()
        self.assertEqual(box.tree(VICTIM), before)
        self.assertEqual(box.zip()["logs/ada/kept.log"], b"kept")

    def test_folders_that_are_not_to_be_emptied(self):
        """--dir names a folder that holds what is collected, the tool, its log or a home | by any spelling, through links and second mounts | the default is used, a warning says why, nothing in the folder changes; beside them, a folder is used, through any link"""
        spellings = "/ /Library /Users /Users/ada /Users/ada/Library/ /Users/./ada/Library/.. /var/log/ /opt/tool . ../tool/ " \
            "/linked /mounted /linked/ada/ /root /home/bob /Users/ada" + SHARED + "/logs " + LAUNCHD + " " + APP + " " + OWN_LOG + \
            " /var/log/quelmar/OKVU3_LOG/okvu_service " + SHARED.replace(" ", "?")
        for spelling in spellings.replace("/Users/ada" + SHARED, "/Users/ada" + SHARED.replace(" ", "?")).replace(
                "/Users/root" + SHARED, "/Users/root" + SHARED.replace(" ", "?")).split() + ["/out", "/Users/ada/Desktop", "/to-out"]:
            name = spelling.replace("?", " ")
            with self.subTest(name):
                box = self.box()
                for path in (LAUNCHD, "/etc/passwd", "/Users/ada/Desktop/x", "/out/x.log", "/root/x", "/home/bob/x", "/Users/ada/x",
                             "/var/log/quelmar/OKVU3_LOG/okvu_service/o.log", APP + "/sdpc_md5.json", "/opt/tool/x", SHARED + "/x"):
                    box.put(path, "root:x:0:0::/root:/bin/sh\nbob:x:1001:1001::/home/bob:/bin/sh\nada:x:1000:1000::/:/bin/sh\n")
                self.plant(box, "/linked", "/Users")
                self.plant(box, "/to-out", "/out")
                os.mkdir(box.path("/mounted"))
                sandbox.mount(box.path("/Library"), box.path("/mounted"), None, sandbox.MS_BIND)
                self.addCleanup(sandbox.libc.umount2, box.path("/mounted").encode(), sandbox.MNT_DETACH)
                before = {p: s for p, s in box.tree().items() if not os.path.isdir(box.path(p)) and not p.startswith("/tmp")}
                box.run("--dir=" + name, env={"SUDO_UID": str(BOB)})
                used = name in ("/out", "/Users/ada/Desktop", "/to-out")
                after = box.tree()
                changed = {p for p, s in before.items() if after.get(p) != s and not p.startswith(("/record", OWN_FOLDER))}
                self.assertEqual(changed, {name.replace("to-", "") + ("/x.log" if "out" in name else "/x")} if used else set())
                self.assertEqual(bool(box.messages("ensureLogRootDir")), not used)
                self.assertEqual(len(box.archives(name.replace("to-", "") if used else ROOT_DIR)), 1)
                self.assertEqual(os.path.islink(box.path("/to-out")), True)

    def test_what_counts_as_an_archive(self):
        """Leftovers that cannot be removed, a root that cannot be listed to its end, an archive that cannot be looked at | beside four archives | all four stay"""
        for call, path, first in ((None, None, 1), ("readdir", ROOT_DIR, 3), ("lstat fstatat", ROOT_DIR + "/old3.zip", 1),
                                  ("lstat fstatat", ROOT_DIR + "/stray.txt", 1)):
            with self.subTest(call, path=path):
                box = self.box()
                for number in range(4):
                    box.put("%s/old%d.zip" % (ROOT_DIR, number), age=1000 * number)
                for number in range(9 if call is None else 0):
                    box.put("%s/left/%d.log" % (ROOT_DIR, number), age=9999)
                box.put(ROOT_DIR + "/stray.txt", age=9999)
                # The folder of leftovers is busy: a mount.
                if call is None:
                    sandbox.mount(box.path(ROOT_DIR + "/left"), box.path(ROOT_DIR + "/left"), None, sandbox.MS_BIND)
                    sandbox.mount(None, box.path(ROOT_DIR + "/left"), None, sandbox.MS_BIND | sandbox.MS_REMOUNT | sandbox.MS_RDONLY)
                    self.addCleanup(sandbox.libc.umount2, box.path(ROOT_DIR + "/left").encode(), sandbox.MNT_DETACH)
                box.run(env=self.failing(box, call, path, errno.EIO, first) if call else {})
                self.assertEqual([n for n in sorted(os.listdir(box.path(ROOT_DIR))) if n.startswith("old")],
                                 ["old%d.zip" % number for number in range(4)])


if __name__ == "__main__":
    sandbox.main()
