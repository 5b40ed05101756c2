"""A local user without rights exchanges and plants, in a loop, all that they may, while root runs the tool: nothing of
anybody else's is deleted, changed or read, and every run comes back with an archive of root's own files."""
import os
import subprocess

from sandbox import LOGS, MADE, MS_BIND, Case, OWN_LOG, ROOT_DIR, SCRATCH, SHARED, mount

MALLORY, VICTIM, SECRET = 1001, "/srv/victim", "/srv/victim/secret.log"
RUNS = 20
OWN_FOLDER = os.path.dirname(OWN_LOG)
ONLY_CHMOD = '#!/fakes/sh\ncase "$2" in chmod*) exec /fakes/sh "$@"; esac\n'  # quick: of the commands none else matters


class Attack(Case):
    def attacked(self, paths, slow="", sources=()):
        """Runs the tool while Mallory exchanges `paths`; `slow`: fakes that give her time in the reports; else there are none."""
        self.need_second_user()
        box = self.box(console="ada", fakes=dict.fromkeys(slow.split(), "sleep 0.02; echo x"))
        if not slow:
            box.put("/shell", ONLY_CHMOD, mode=0o755)
            mount(box.path("/shell"), box.path(os.path.realpath("/bin/sh")), None, MS_BIND)
        for name in ("logs/ada", "logs/uem_ada", "database/ada", "nsdbase/ada"):  # as the copies' folders
            box.put(VICTIM + "/%s/file.log" % name, "the victim's")
        box.put(SECRET, "SECRET", mode=0o600)
        os.chown(box.path(SECRET), 1002, 1002)
        for name in ["kept"] + ["n%d" % number for number in range(200)]:
            box.put(LOGS + "%s.log" % name, "kept")
        for name in sources:  # what is Mallory's own, for her to exchange
            os.makedirs(box.path(name), exist_ok=True)
            subprocess.check_call(["chown", "-R", "%d:%d" % (MALLORY, MALLORY), box.path(name)])
        box.bind(MADE + "attacker", "/attacker")
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
            found = box.zip(name=archives[-1])
            self.assertEqual([name for name, content in found.items() if b"SECRET" in content], [])
            self.assertNotEqual(found.get("logs/ada/kept.log"), b"PLANTED")
            subprocess.call(["find", box.path(ROOT_DIR), "-mindepth", "1", "-delete"])

    def tree(self, box):
        """All that belongs to the victim: modes, owners, and each file's content."""
        return subprocess.check_output("find . -printf '%p %m %U %n %s\\n' -type f -exec cat {} +", shell=True, cwd=box.path(VICTIM))

    def test_while_copying(self):
        self.attacked([SCRATCH, SCRATCH + "/logs", SCRATCH + "/logs/ada", SCRATCH + "/logs/uem_ada", SCRATCH + "/database"])

    def test_reports_and_archive(self):
        self.attacked([ROOT_DIR + "/system_info.log", SCRATCH + "/logs/system_wide.log", SCRATCH + "/logs"], slow="ip ps who")

    def test_own_log(self):
        self.attacked([OWN_LOG, OWN_FOLDER, OWN_FOLDER + "/LogColltionTool.1.log"])

    def test_clean_up(self):
        self.attacked([SCRATCH])

    def test_sources(self):
        own = [LOGS + "x", SHARED + "/database/x", "/Library/Logs/DiagnosticReports"]
        self.attacked(own + [LOGS + "x/y"], sources=[LOGS + "x/y", *own])
