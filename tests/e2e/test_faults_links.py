"""Root collects where ordinary users can write: nothing is written, changed or deleted through what they planted."""
import os
import time

import faults
import sandbox
from faults import LOGS, VICTIM
from sandbox import OWN_LOG, ROOT_DIR, SCRATCH

ADA = 1000


class Links(faults.FaultCase):
    def plant(self, box, path, target, owner=ADA):
        box.link(target, path)
        os.lchown(box.path(path), owner, owner)

    def spared(self, box, *arguments):
        """A run that leaves ada's documents as they are; returns what it left in the archive."""
        for name in ("logs/old.log", "x.zip", "system_state.log"):
            box.put(VICTIM + "/" + name, "precious", mode=0o600)
        os.chmod(box.path(VICTIM), 0o700)
        before = box.tree(VICTIM)
        box.run(*arguments)
        self.assertEqual(box.tree(VICTIM), before)
        return self.assertWhole(box)

    def test_planted_before_the_run(self):
        """Links that somebody else planted | default root, scratch folder and folders in it, report, archive's name, own log | each is replaced by the tool's own file or folder; what it led to keeps content and mode"""
        names = ["%s/oBrelaLog_2.5.16.20_%s.zip" % (ROOT_DIR, time.strftime("%Y%m%d%H%M%S", time.gmtime(time.time() + s)))
                 for s in range(30)]
        for paths, target in (([ROOT_DIR], VICTIM), ([SCRATCH], VICTIM), ([SCRATCH + "/logs"], VICTIM),
                              ([SCRATCH + "/logs/ada"], VICTIM), ([ROOT_DIR + "/system_info.log"], VICTIM + "/keep.log"),
                              ([ROOT_DIR + "/system_info.log"], VICTIM + "/new.log"), (names, VICTIM + "/x.zip"),
                              (names, VICTIM + "/new.zip"), ([OWN_LOG], VICTIM + "/keep.log"),
                              ([OWN_LOG], VICTIM + "/new.log"), ([ROOT_DIR + "/a"], "/"), ([ROOT_DIR + "/d/a"], VICTIM)):
            with self.subTest(paths[0], target=target):
                box = self.box()
                for path in paths:
                    self.plant(box, path, target)
                box.put(VICTIM + "/x.zip", "precious")
                if paths is names:  # links are no archives of the tool: they stay
                    box.run()
                    self.assertEqual(box.read(VICTIM + "/x.zip"), b"precious")
                    self.assertFalse(os.path.exists(box.path(VICTIM + "/new.zip")))
                    self.assertEqual([n for n in box.archives() if not os.path.islink(box.path(ROOT_DIR + "/" + n))],
                                     [os.path.basename(n) for n in names if not os.path.islink(box.path(n))])
                elif paths == [ROOT_DIR + "/a"]:
                    box.run()
                    self.assertTrue(os.path.islink(box.path(paths[0])))
                else:
                    self.spared(box)

    def test_hard_links(self):
        """Hard links to another user's file | at the report's and the own log's name | the name is given to a file of the tool's own, the other keeps its content and mode"""
        for path in (ROOT_DIR + "/system_info.log", OWN_LOG):
            with self.subTest(path):
                box = self.box()
                box.put(VICTIM + "/keep.log", "precious", mode=0o640)
                box.make(lambda where: os.link(box.path(VICTIM + "/keep.log"), where), path)
                box.run()
                status = os.stat(box.path(VICTIM + "/keep.log"))
                self.assertEqual((box.read(VICTIM + "/keep.log"), status.st_mode & 0o7777), (b"precious", 0o640))
                self.assertWhole(box)

    def test_swapped_in_during_the_run(self):
        """Links swapped in while the tool works | a command replaces the report, a log folder or a folder being emptied by a link | as above; what was swapped away is lost"""
        swap = 'rm -rf "$1"; ln -s %s "$1"; chown -h 1000:1000 "$1"\n'
        for fake, path, target in (("ip", ROOT_DIR + "/system_info.log", VICTIM + "/keep.log"),
                                   ("chmod", SCRATCH + "/logs", VICTIM), ("open", SCRATCH, VICTIM)):
            with self.subTest(path):
                condition = '[ "$2" = 777 ] && ' if fake == "chmod" else ""
                rest = 'exec /bin/chmod "$@"' if fake == "chmod" else "echo " + fake
                body = "swap() { %s}\n%s[ ! -L '%s' ] && swap '%s'\n%s" % (swap % target, condition, path, path, rest)
                box = self.box(fakes={fake: body})
                if fake == "open":
                    box.run()
                    self.assertTrue(os.path.islink(box.path(SCRATCH)))
                    box.put(LOGS + "again.log")
                    os.unlink(box.path("/fakes/open"))
                    self.addCleanup(lambda: None)
                    before = box.tree(VICTIM)
                    box.run(env={"TZ": "later-1"})
                    self.assertEqual(box.tree(VICTIM), before)
                else:
                    self.spared(box)

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


if __name__ == "__main__":
    sandbox.main()
