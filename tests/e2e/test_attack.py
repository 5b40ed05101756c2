"""A local user without rights exchanges and plants, in a loop, all that they may, while root runs the tool: nothing of
anybody else's is deleted, changed or read, and every run comes back with an archive of root's own files."""
import os
import subprocess

from sandbox import MADE, Case, OWN_LOG, ROOT_DIR, SCRATCH, SHARED

ATTACKER = MADE + "attacker"
MALLORY, VICTIM, SECRET = 1001, "/srv/victim", "/srv/victim/secret.log"
LOGS, RUNS = "/Users/ada" + SHARED + "/logs", 20
OWN_FOLDER = os.path.dirname(OWN_LOG)


class Attack(Case):
    def attacked(self, paths, slow="", sources=()):
        """Runs the tool while Mallory exchanges `paths`; `slow`: a fake that gives her time in a phase."""
        self.need_second_user()
        box = self.box(console="ada", fakes=dict.fromkeys(slow.split(), "sleep 0.05; echo x"))
        for name in ("logs/ada", "logs/uem_ada", "database/ada", "nsdbase/ada"):  # as the copies' folders
            box.put(VICTIM + "/%s/file.log" % name, "the victim's")
        box.put(SECRET, "SECRET", mode=0o600)
        os.chown(box.path(SECRET), 1002, 1002)
        for name in ["kept"] + ["n%d" % number for number in range(200)]:
            box.put(LOGS + "/%s.log" % name, "kept")
        for name in sources:  # what is Mallory's own, for her to exchange
            os.makedirs(box.path(name), exist_ok=True)
            subprocess.check_call(["chown", "-R", "%d:%d" % (MALLORY, MALLORY), box.path(name)])
        box.bind(ATTACKER, "/attacker")
        before = self.tree(box)
        command = ["chroot", box.root, "/attacker", str(MALLORY), VICTIM, SECRET, *paths]
        for _ in range(RUNS):
            attacker = subprocess.Popen(command, stdin=subprocess.DEVNULL)
            try:
                result = box.run()
            finally:
                attacker.kill()
                attacker.wait()
            self.assertEqual(self.tree(box), before)
            archives = [n for n in box.archives() if os.lstat(box.path(ROOT_DIR + "/" + n)).st_uid == 0]
            self.assertTrue(archives, result)
            for name, content in box.zip().items():
                self.assertNotIn(b"SECRET", content, name)
            self.assertNotEqual(box.zip().get("logs/ada/kept.log"), b"PLANTED")
            subprocess.call(["find", box.path(ROOT_DIR), "-mindepth", "1", "-delete"])

    def tree(self, box):
        """All that belongs to the victim: modes, owners, and each file's content."""
        return subprocess.check_output("find . -printf '%p %m %U %n %s\\n' -type f -exec cat {} +", shell=True, cwd=box.path(VICTIM))

    def test_while_copying(self):
        self.attacked([SCRATCH, SCRATCH + "/logs", SCRATCH + "/logs/ada", SCRATCH + "/logs/uem_ada", SCRATCH + "/database"])

    def test_reports_and_archive(self):
        self.attacked([ROOT_DIR + "/system_info.log", SCRATCH + "/logs/system_wide.log", SCRATCH + "/logs"], slow="ip ps who")

    def test_own_log(self):
        self.attacked([OWN_LOG, OWN_FOLDER, OWN_FOLDER + "/LogColltionTool.1.log"], slow="ip")

    def test_clean_up(self):
        self.attacked([SCRATCH])

    def test_sources(self):
        mine = "/Users/mallory" + SHARED + "/logs"
        self.attacked([LOGS + "/x", LOGS + "/x/y", SHARED + "/database/x", "/Library/Logs/DiagnosticReports"], sources=[
            LOGS + "/x/y", SHARED + "/database/x", "/Library/Logs/DiagnosticReports"])
