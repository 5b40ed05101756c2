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
KEEP = VICTIM + "/keep.log"


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
        """Links and hard links that somebody else planted | default root, scratch folder and folders in it, report, own log and folders above it | each is replaced by the tool's own file or folder; what it led to keeps content and mode"""
        for path, target in ((ROOT_DIR, VICTIM), (SCRATCH, VICTIM), (SCRATCH + "/logs", VICTIM), (SCRATCH + "/logs/ada", VICTIM),
                             (ROOT_DIR + "/d/a", VICTIM), (REPORT, KEEP), (OWN_LOG, KEEP), (REPORT, VICTIM + "/new.log"),
                             (OWN_LOG, VICTIM + "/new.log"), (OWN_FOLDER, VICTIM), (os.path.dirname(OWN_FOLDER), VICTIM)):
            for hard in (False, True) if target == KEEP else (False,):
                with self.subTest(path, target=target, hard=hard):
                    box = self.box()
                    if hard:
                        box.make(lambda where: os.link(box.path(target), where), path)
                    else:
                        self.plant(box, path, target)
                    self.spared(box)

    def test_planted_at_the_archives_name(self):
        """Links at the name that the archive will have | for each second of the next minute | as above; the other links stay where they are"""
        for target in (KEEP, VICTIM + "/new.zip"):
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
        for fake, path, target in (("ip", REPORT, KEEP), ("chmod", SCRATCH + "/logs", VICTIM)):
            with self.subTest(path):
                swap = "if [ $2 != 666 ] && [ ! -L {0} ]; then rm -rf {0}; ln -s {1} {0}; chown -h 1000:1000 {0}; fi\n"
                rest = 'exec /bin/chmod "$@"' if fake == "chmod" else "echo ip"
                self.spared(self.box(fakes={fake: swap.format(path, target) + rest}))

    def test_that_cannot_be_removed(self):
        """Links and hard links to what is the calling user's, planted in his way by another user in sticky folders | the names above, as an ordinary user | nothing behind them changes, nothing of it is in the archive, and a record says what is left out"""
        self.need_second_user()
        logs = "/data/oBrela/logs"
        own_log = logs + "/LogColltionTool.log"
        for path, target, hard, told in (
                (SCRATCH, VICTIM, False, r"create_directories\(.*\) return failed"),
                (SCRATCH + "/logs", VICTIM, False, "dir .*/logs not exist"),
                (SCRATCH + "/database", VICTIM, False, "dir .*/database not exist"),
                (SCRATCH + "/logs/uem_ada", VICTIM, False, "report .*/uem_ada left out"),
                (SCRATCH + "/logs/system_wide.log", KEEP, False, "report .*/system_wide.log left out"),
                (SCRATCH + "/closed/x", KEEP, True, "cmdPopen chmod -R 777 .* fail"),
                (REPORT, KEEP, False, "report .*/system_info.log left out"),
                (REPORT, KEEP, True, "report .*/system_info.log left out"),
                (logs + "/LogColltionTool.1.log", KEEP, False, "log .* not rotated"),
                (logs, VICTIM, False, None), ("/data/oBrela", VICTIM, False, None), (own_log, KEEP, False, None)):
            with self.subTest(path, hard=hard):
                box, owner = self.box(), BOB if hard else ADA
                self.victim(box)
                for where in [VICTIM] + [VICTIM + "/" + name for name in os.listdir(box.path(VICTIM))]:
                    os.chown(box.path(where), owner, owner)
                os.chmod(box.path(KEEP), 0o666)  # were it opened, it could be written to
                os.makedirs(box.path("/data/oBrela" if path == logs else "/data" if path == "/data/oBrela" else logs))
                box.make(lambda where: os.link(box.path(target), where) if hard else os.symlink(target, where), path)
                for top in ("/data", ROOT_DIR):
                    for folder, folders, names in os.walk(box.path(top)):
                        for where in [folder] + [folder + "/" + name for name in folders + names]:
                            os.lchown(where, BOB, BOB)
                        os.chmod(folder, 0o755 if folder.endswith("closed") else 0o1777)
                before = box.tree(VICTIM)
                result = box.run(user=ADA, env={"XDG_DATA_HOME": "/data"})
                self.assertEqual(box.tree(VICTIM), before)
                self.assertFalse([n for n, content in box.zip().items() if content.startswith(b"precious")])
                self.assertRegex("\n".join(x.message for x in box.log(own_log)) if told else result.err,
                                 told or "initLogName failed")

    def test_removals_and_look_ups_that_fail(self):
        """A removal or look-up that fails | unlink, or all looking up, fails at each name of the tool's where a link stands, or a folder of earlier output or of the client's | nothing behind the links changes and no folder is deleted; a record says what is left out"""
        for path, calls, error, target, told in (
                (SCRATCH, "unlink unlinkat", errno.EPERM, VICTIM, r"create_directories\(.*\) return failed"),
                (SCRATCH, "lstat fstatat stat statx", errno.EIO, VICTIM, r"create_directories\(.*\) return failed"),
                (REPORT, "unlink unlinkat remove", errno.EPERM, KEEP, "report .* left out"),
                (OWN_LOG, "unlink unlinkat", errno.EPERM, KEEP, None),
                (OWN_LOG, "lstat fstatat", errno.EIO, KEEP, None),
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

    def test_folders_that_are_not_to_be_emptied(self):
        """--dir names a folder that holds what is collected, the tool, its log or a home | by any spelling, through links and second mounts | the default is used, a warning says why, nothing in the folder changes; beside them, a folder is used, through any link"""
        places = ["/Users/ada/x", "/Users/ada/Desktop/x", "/out/x", "/root/x", "/home/bob/x", "/opt/tool/x", LAUNCHD, SHARED + "/x",
                  "/var/log/quelmar/OKVU3_LOG/okvu_service/x", APP + "/x"]
        for name in ["/", "/Library", "/Users", "/Users/ada", "/Users/ada/Library/", "/Users/./ada/Library/..", "/var/log/", "/root",
                     "/opt/tool", ".", "../tool/", "/linked", "/linked/ada/", "/mounted", "/home/bob", OWN_LOG, SHARED + "/Crash"
                     ] + [os.path.dirname(place) for place in places[6:]] + [LAUNCHD, "/out", "/to-out", "/Users/ada/Desktop"]:
            with self.subTest(name):
                box, used = self.box(), {"/to-out": "/out"}.get(name, name if name in ("/out", "/Users/ada/Desktop") else None)
                for place in places:
                    box.put(place)
                box.put("/etc/passwd", "root:x:0:0::/root:/bin/sh\nada:x:1000:1000::/:/bin/sh\nbob:x:1001:1001::/home/bob:/bin/sh\n")
                self.plant(box, "/linked", "/Users")
                self.plant(box, "/to-out", "/out")
                os.mkdir(box.path("/mounted"))
                sandbox.mount(box.path("/Library"), box.path("/mounted"), None, sandbox.MS_BIND)
                self.addCleanup(sandbox.libc.umount2, box.path("/mounted").encode(), sandbox.MNT_DETACH)
                before = {p for p in box.tree() if not p.startswith("/tmp")}
                box.run("--dir=" + name, env={"SUDO_UID": str(BOB)})
                self.assertEqual(before - set(box.tree()), {used + "/x"} if used else set())
                self.assertEqual(bool(box.messages("ensureLogRootDir")), used is None)
                self.assertEqual(len(box.archives(used or ROOT_DIR)), 1)
                self.assertFalse(os.path.exists(box.path(SHARED + "/Crash")))

    def test_what_counts_as_an_archive(self):
        """Leftovers that cannot be removed, a root that cannot be listed to its end, an entry that cannot be looked at | beside four older archives | all four stay"""
        for call, path, times in ((None, None, 0), ("readdir", ROOT_DIR, 1), ("readdir", ROOT_DIR, 9),
                                  ("lstat fstatat statx", ROOT_DIR + "/stray0.txt", 1),
                                  ("lstat fstatat statx", ROOT_DIR + "/old3.zip", 9)):
            with self.subTest(call, path=path, times=times):
                box = self.box()
                for number in range(4):
                    box.put("%s/old%d.zip" % (ROOT_DIR, number), age=1000 + number)
                    box.put("%s/left/%d.log" % (ROOT_DIR, number))
                for number in range(1 if path and path.endswith(".txt") else 9):
                    box.put("%s/stray%d.txt" % (ROOT_DIR, number))
                left = box.path(ROOT_DIR + "/left")
                if call is None:
                    sandbox.mount(left, left, None, sandbox.MS_BIND)
                    sandbox.mount(None, left, None, sandbox.MS_BIND | sandbox.MS_REMOUNT | sandbox.MS_RDONLY)
                    self.addCleanup(sandbox.libc.umount2, left.encode(), sandbox.MNT_DETACH)
                box.run(env=self.failing(box, call, path, errno.EIO, times=times) if call else {})
                self.assertEqual([n for n in sorted(os.listdir(box.path(ROOT_DIR))) if n.startswith("old")],
                                 ["old%d.zip" % number for number in range(4)])


if __name__ == "__main__":
    sandbox.main()
