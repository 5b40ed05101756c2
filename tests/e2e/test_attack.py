"""A local user without rights exchanges and plants, in a loop, all that they may, while root runs the tool: nothing of
anybody else's is deleted, changed or read, and every run comes back with an archive of root's own files."""
import contextlib
import multiprocessing
import os
import random
import subprocess
import time

from sandbox import LOGS, Case, OWN_LOG, ROOT_DIR, SCRATCH, SHARED, mount

MALLORY, VICTIM, SECRET = 1001, "/srv/victim", "/srv/victim/secret.log"
RUNS = 20
ONLY_CHMOD = '#!/fakes/sh\ncase "$2" in chmod*) exec /fakes/sh "$@"; esac\n'  # quick: of the commands none else matters


def exchange(path):
    """Puts a link to the victim in the place of a folder or file that the run uses, for a moment or for good."""
    aside = path + ".x%d" % random.randrange(4)
    os.rename(path, aside)
    os.symlink(VICTIM, path)
    time.sleep(random.random() * 0.0003)
    if random.randrange(4):
        os.unlink(path)
        os.rename(aside, path)


def plant(path):
    with open(path + "/kept.log", "x") as file:
        file.write("PLANTED")


# Beside exchanging, she puts there what the run is to pack.
ACTIONS = [exchange] * 8 + [os.mkdir, plant, lambda path: os.link(SECRET, path + "/hard.log"),
                            lambda path: os.symlink(SECRET, path + "/soft.log")]


def attack(root, paths):
    os.chroot(root)
    os.setgroups([])
    os.setgid(MALLORY)
    os.setuid(MALLORY)
    os.umask(0)
    random.seed()
    while True:
        with contextlib.suppress(OSError):
            random.choice(ACTIONS)(random.choice(paths))


class Attack(Case):
    def attacked(self, paths, slow="", sources=()):
        """Runs the tool while Mallory exchanges `paths`; slow: fakes that give her time in the reports."""
        box = self.box(console="ada", fakes=dict.fromkeys(slow.split(), "sleep 0.02; echo x"))
        if not slow:
            box.put("/shell", ONLY_CHMOD, mode=0o755)
            mount("--bind", box.path("/shell"), box.path(os.path.realpath("/bin/sh")))
        for name in ("logs/ada", "logs/uem_ada", "database/ada", "nsdbase/ada"):  # as the copies' folders
            box.put(VICTIM + "/%s/file.log" % name, "the victim's")
        box.put(SECRET, "SECRET", mode=0o600, owner=1002)
        for name in ["kept"] + ["n%d" % number for number in range(200)]:
            box.put(LOGS + "%s.log" % name, "kept")
        for name in sources:  # what is Mallory's own, for her to exchange
            box.put(name, os.mkdir, owner=MALLORY)
        before = self.tree(box)
        for _ in range(RUNS):
            attacker = multiprocessing.Process(target=attack, args=(box.root, paths))
            attacker.start()
            try:
                box.run()
            finally:
                attacker.kill()
                attacker.join()
            self.assertEqual(self.tree(box), before)
            archives = [name for name in box.archives() if os.lstat(box.path(ROOT_DIR + "/" + name)).st_uid == 0]
            self.assertTrue(archives)
            found = box.zip(archives[-1])
            self.assertEqual([name for name, content in found.items() if b"SECRET" in content], [])
            self.assertNotEqual(found.get("logs/ada/kept.log"), b"PLANTED")
            subprocess.call(["find", box.path(ROOT_DIR), "-mindepth", "1", "-delete"])

    def tree(self, box):
        """All that belongs to the victim: modes, owners, and each file's content."""
        command = "find . -printf '%p %m %U %n %s\\n' -type f -exec cat {} +"
        return subprocess.check_output(command, shell=True, cwd=box.path(VICTIM))

    def test_while_copying(self):
        self.attacked([SCRATCH + path for path in ("", "/logs", "/logs/ada", "/logs/uem_ada", "/database")])

    def test_reports_and_archive(self):
        reports = [ROOT_DIR + "/system_info.log", SCRATCH + "/logs/system_wide.log", SCRATCH + "/logs"]
        self.attacked(reports, slow="ip ps who")

    def test_own_log(self):
        self.attacked([OWN_LOG, os.path.dirname(OWN_LOG), os.path.dirname(OWN_LOG) + "/LogColltionTool.1.log"])

    def test_clean_up(self):
        self.attacked([SCRATCH])

    def test_sources(self):
        own = [LOGS + "x", SHARED + "/database/x", "/Library/Logs/DiagnosticReports"]
        self.attacked(own + [LOGS + "x/y"], sources=[*own, LOGS + "x/y"])
