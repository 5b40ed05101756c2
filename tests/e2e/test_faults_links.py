"""Root collects where ordinary users can write: nothing is written, changed or deleted through what they planted."""
import os
import time

import faults
import sandbox
from faults import VICTIM
from sandbox import OWN_LOG, ROOT_DIR, SCRATCH

ADA = 1000


class Links(faults.FaultCase):
    def plant(self, box, path, target, owner=ADA):
        box.link(target, path)
        os.lchown(box.path(path), owner, owner)

    def spared(self, box):
        """A run that makes a whole archive and leaves ada's documents as they are."""
        for name in ("logs/old.log", "x.zip", "system_state.log"):
            box.put(VICTIM + "/" + name, "precious", mode=0o600)
        os.chmod(box.path(VICTIM), 0o700)
        before = box.tree(VICTIM)
        box.run()
        self.assertEqual(box.tree(VICTIM), before)
        self.assertWhole(box)

    def test_planted_before_the_run(self):
        """Links that somebody else planted | default root, scratch folder and folders in it, report, own log | each is replaced by the tool's own file or folder; what it led to keeps content and mode"""
        for path, target in ((ROOT_DIR, VICTIM), (SCRATCH, VICTIM), (SCRATCH + "/logs", VICTIM),
                             (SCRATCH + "/logs/ada", VICTIM), (ROOT_DIR + "/d/a", VICTIM),
                             (ROOT_DIR + "/system_info.log", VICTIM + "/keep.log"), (OWN_LOG, VICTIM + "/keep.log"),
                             (ROOT_DIR + "/system_info.log", VICTIM + "/new.log"), (OWN_LOG, VICTIM + "/new.log")):
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
        """Links swapped in while the tool works | a command replaces the report, or a folder of copies, by a link | as above; what was swapped away is lost"""
        for fake, path, target in (("ip", ROOT_DIR + "/system_info.log", VICTIM + "/keep.log"), ("chmod", SCRATCH + "/logs", VICTIM)):
            with self.subTest(path):
                swap = "if [ $2 != 666 ] && [ ! -L {0} ]; then rm -rf {0}; ln -s {1} {0}; chown -h 1000:1000 {0}; fi\n"
                rest = 'exec /bin/chmod "$@"' if fake == "chmod" else "echo ip"
                self.spared(self.box(fakes={fake: swap.format(path, target) + rest}))

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
