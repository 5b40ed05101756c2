"""Nothing of somebody else's is written, given a mode, packed or deleted: not through what others planted, not when it
cannot be removed, and not when a look-up fails."""
import errno
import os

from faults import FaultCase, archive_names
from sandbox import APP, LAUNCHD, MS_BIND, OWN_LOG, ROOT_DIR, SCRATCH, SHARED, mount

ADA, BOB = 1000, 1001
REPORT = ROOT_DIR + "/system_info.log"
OWN_FOLDER = os.path.dirname(OWN_LOG)
VICTIM = "/Users/ada/Documents"
KEEP, NEW = VICTIM + "/keep.log", VICTIM + "/new.log"


class Links(FaultCase):
    def plant(self, box, links):
        """Makes links that are ada's; a target that begins with "=" gets a hard link."""
        for path, target in links.items():
            if target[0] == "=":
                box.make(lambda where: os.link(box.path(target[1:]), where), path)
            else:
                box.link(target, path)
                os.lchown(box.path(path), ADA, ADA)

    def victim(self, box):
        """Documents full of the names that the tool uses; returns what they are like."""
        for name in ("keep.log", "logs/old.log", "database/a.db", "x.zip", "system_state.log", "LogColltionTool.log"):
            box.put(VICTIM + "/" + name, "precious", mode=0o600)
        os.chmod(box.path(VICTIM), 0o700)
        return box.tree(VICTIM)

    def test_planted_by_somebody_else(self):
        """Links and hard links that somebody else planted, before the run or in the middle of it | default root, scratch folder and folders in it, reports, own log and folders above it, the archive's name for each second of the next minute | each is replaced by the tool's own file or folder, other names' links stay; what they led to keeps content and mode"""
        self.need_second_user()
        swap = "if [ $2 != 666 ] && [ ! -L {0} ]; then rm -rf {0}; ln -s {1} {0}; chown -h 1000:1000 {0}; fi\n"
        fakes = {"ip": swap.format(REPORT, KEEP) + "echo ip",
                 "chmod": swap.format(SCRATCH + "/logs", VICTIM) + 'exec /bin/chmod "$@"'}
        later = [ROOT_DIR + name for name in archive_names()]
        for links, swaps in (({ROOT_DIR: VICTIM, OWN_FOLDER: VICTIM}, {}),
                             ({SCRATCH: VICTIM, REPORT: KEEP, OWN_LOG: KEEP, ROOT_DIR + "/d/a": VICTIM, **dict.fromkeys(later, KEEP)}, {}),
                             ({SCRATCH + "/logs": VICTIM, REPORT: NEW, OWN_LOG: NEW, **dict.fromkeys(later, NEW)}, {}),
                             ({SCRATCH + "/logs/ada": VICTIM, os.path.dirname(OWN_FOLDER): VICTIM}, {}),
                             ({REPORT: "=" + KEEP, OWN_LOG: "=" + KEEP}, {}), ({}, fakes)):
            with self.subTest(list(links)[:3]):
                box = self.box(fakes=swaps)
                before = self.victim(box)
                self.plant(box, links)
                box.run()
                self.assertEqual(box.tree(VICTIM), before)
                names = [n for n in box.archives() if os.path.islink(box.path(ROOT_DIR + "/" + n))]
                self.assertEqual(len(names), 59 if len(links) > 59 else 0)
                for name in names:
                    os.unlink(box.path(ROOT_DIR + "/" + name))
                self.assertWhole(box)

    def make_sticky(self, box):
        """What is planted becomes bob's, in folders where nobody but him can remove it; the documents are the caller's own."""
        for top, user in ((VICTIM, ADA), ("/data", BOB), (ROOT_DIR, BOB)):
            for folder, folders, names in os.walk(box.path(top)):
                for where in [folder] + [folder + "/" + name for name in folders + names]:
                    os.lchown(where, user, user)
                if user == BOB:
                    os.chmod(folder, 0o755 if folder.endswith("closed") else 0o1777)
        os.chmod(box.path(KEEP), 0o666)  # were it opened, it could be written to

    def test_that_cannot_be_removed(self):
        """Links and hard links that cannot be removed or looked at | what another user planted in sticky folders, as an ordinary user to whom all that it leads to belongs; removing or looking up fails at each name of the tool's where a link stands, or a folder of earlier output or of the client's | nothing behind the links changes, nothing of it is in the archive, no folder is deleted, and a record says what is left out"""
        self.need_second_user()
        data, removing, looking = "/data/oBrela/logs", "unlink unlinkat", "lstat fstatat statx"
        not_made, no_root = r"create_directories\(.*\) return failed", "ensureDirectoryExist .* failed"
        for calls, path, links, *told in (
                ("", "", {SCRATCH: VICTIM, data + "/LogColltionTool.1.log": KEEP}, not_made),
                ("", "", {SCRATCH + "/logs": VICTIM}, "dir .*/logs not exist"),
                ("", "", {SCRATCH + "/logs/uem_ada": VICTIM, SCRATCH + "/logs/system_wide.log": KEEP, REPORT: KEEP},
                 "report .*/uem_ada/system_state.log left out", "report .*/system_wide.log left out", "report .*/system_info.log left out"),
                ("", "", {SCRATCH + "/database": VICTIM, SCRATCH + "/closed/x": "=" + KEEP, REPORT: "=" + KEEP},
                 "dir .*/database not exist", "cmdPopen chmod -R 777 .* fail", "report .*/system_info.log left out"),
                ("", "", {data: VICTIM}), ("", "", {"/data/oBrela": VICTIM}), ("", "", {data + "/LogColltionTool.log": KEEP}),
                (removing, SCRATCH, {SCRATCH: VICTIM}, not_made), (looking, SCRATCH, {SCRATCH: VICTIM}, not_made),
                (removing, REPORT, {REPORT: KEEP}, "report .* left out"), (removing, OWN_LOG, {OWN_LOG: KEEP}),
                (looking, OWN_LOG, {OWN_LOG: KEEP}), (looking, ROOT_DIR, {}, no_root),
                (removing, ROOT_DIR, {ROOT_DIR: VICTIM}, no_root)):
            with self.subTest(path, calls=calls, links=list(links)):
                box, precious = self.box(), [] if links else [OWN_FOLDER + "/a.zip", ROOT_DIR + "/a.zip"]
                for name in precious:
                    box.put(name, "precious")
                self.victim(box)
                self.plant(box, links)
                how = {"env": self.failing(box, calls, path, errno.EPERM)}
                if not calls:
                    box.put(data + "/x" if told else "/data/x")
                    self.make_sticky(box)
                    how = {"user": ADA, "env": {"XDG_DATA_HOME": "/data"}}
                before = box.tree(VICTIM)
                result = box.run(status=161 if path == ROOT_DIR else 0, **how)
                self.assertEqual(box.tree(VICTIM), before)
                self.assertEqual([box.read(name) for name in precious], [b"precious"] * len(precious))
                if not calls:
                    self.assertFalse([n for n, content in box.zip().items() if content.startswith(b"precious")])
                log = "\n".join(x.message for x in box.log(OWN_LOG if calls else data + "/LogColltionTool.log")) if told else result.err
                for record in told or ["initLogName failed"]:
                    self.assertRegex(log, record)

    def test_folders_that_are_not_to_be_emptied(self):
        """--dir names a folder that holds what is collected, the tool, its log or a home | by any spelling, through links and second mounts | the default is used, a warning says why, nothing in the folder changes; beside them, a folder is used, through any link"""
        box, agent = self.box(), "/var/log/quelmar/OKVU3_LOG/okvu_service"
        for folder in ("/Users/ada", "/Users/ada/Desktop", "/out", "/linked to", "/root", "/home/bob", "/opt/tool", SHARED, agent, APP):
            box.put(folder + "/x")
        box.put(LAUNCHD)
        box.put("/etc/passwd", "root:x:0:0::/root:/bin/sh\nada:x:1000:1000::/:/bin/sh\nbob:x:1001:1001::/home/bob:/bin/sh\n")
        self.plant(box, {"/linked": "/Users", "/to-out": "/linked to"})
        os.mkdir(box.path("/mounted"))
        mount(box.path("/Library"), box.path("/mounted"), None, MS_BIND)
        kept = ["/", "/root", ".", "/Users/./ada/Library/..", "/linked/ada/", "/mounted", "/home/bob", OWN_LOG, SHARED + "/Crash", SHARED,
                agent, APP, LAUNCHD, os.path.dirname(LAUNCHD)]
        for number, name in enumerate(kept + ["/out", "/to-out", "/Users/ada/Desktop"], 1):
            with self.subTest(name):
                used = {"/to-out": "/linked to"}.get(name, name) if number > len(kept) else None
                before = {p for p in box.tree() if not p.startswith("/tmp")}
                box.run("--dir=" + name, env={"SUDO_UID": str(BOB)})
                self.assertEqual(before - set(box.tree()), {used + "/x"} if used else set())
                self.assertEqual(len(box.messages("ensureLogRootDir")), min(number, len(kept)))
                self.assertTrue(box.archives(used or ROOT_DIR))
                self.assertFalse(os.path.exists(box.path(SHARED + "/Crash")))

    def test_housekeeping_that_fails(self):
        """A root that cannot be listed to its end, an archive or another entry that cannot be looked at, leftovers that cannot be removed | beside six older archives | as long as not all can be seen, all six stay and a record tells; else the four newest"""
        for call, path, first, kept in (("readdir", ROOT_DIR, 18, 6), ("lstat fstatat statx", ROOT_DIR + "/old3.zip", 1, 6),
                                        ("lstat fstatat statx", ROOT_DIR + "/stray.txt", 1, 4),
                                        ("unlink unlinkat", ROOT_DIR + "/left/x.log", 1, 4)):
            with self.subTest(call, path=path):
                box = self.box()
                for number in range(6):
                    box.put("%s/old%d.zip" % (ROOT_DIR, number), age=1000 + number)
                box.put(ROOT_DIR + "/left/x.log")
                box.put(ROOT_DIR + "/stray.txt")
                box.run(env=self.failing(box, call, path, errno.EIO, first))
                self.assertEqual([n for n in sorted(os.listdir(box.path(ROOT_DIR))) if n.startswith("old")],
                                 ["old%d.zip" % number for number in range(kept)])
                self.assertEqual([m[:38] for m in box.messages("checkAndCleanLogDir")],
                                 ["delete file error; Reason: file system"] * (kept == 6))
