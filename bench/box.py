"""A machine of its own for whole runs of the tool (Linux only): the host's programs, the tree in the places where the
tool looks, and commands that answer at once. The caller is confined: what is bound in is read-only but for the tree."""
import os
import shutil
import subprocess

_COMMANDS = "cat chmod grep ip journalctl log loginctl ls open ps sysctl systemctl uname who".split()
_OWN_LOG = "Users/root/Library/Application Support/oBrela/logs/LogColltionTool.log"


class Box:
    def __init__(self, root, tool):
        self.root, self.output, self.mounted = root, os.path.join(root, "tmp/oBrelaLog"), []
        self.command = ["env", "-i", "PATH=/fakes:/usr/bin:/bin", "HOME=/root", "LC_ALL=C", "TZ=UTC",
                        shutil.which("chroot", path="/usr/sbin:/usr/bin"), root, "/opt/tool/LogCollectionTool",
                        "--quiet"]
        for path in ["usr"] + [n for n in os.listdir("/") if n.startswith(("bin", "sbin", "lib"))] + [
                "proc", "dev/null", "dev/urandom"]:
            self._show("/" + path, path)
        for source, target in (("/etc/ld.so.cache", "etc"), ("/etc/passwd", "etc"), (tool, "opt/tool")):
            os.makedirs(os.path.join(root, target), exist_ok=True)
            shutil.copy(source, os.path.join(root, target))
        self.fixed = len(self.mounted)
        os.makedirs(os.path.join(root, "tmp"))
        os.makedirs(os.path.join(root, "fakes"))
        for command in _COMMANDS:
            path = os.path.join(root, "fakes", command)
            with open(path, "w", encoding="ascii") as file:
                file.write("#!/bin/sh\necho %s oBrela\n" % command)
            os.chmod(path, 0o755)

    def _show(self, source, target):
        target = os.path.join(self.root, target)
        os.makedirs(target if os.path.isdir(source) else os.path.dirname(target), exist_ok=True)
        if not os.path.isdir(source):
            with open(target, "wb"):
                pass
        subprocess.run(["mount", "--rbind", source, target], check=True)
        self.mounted.append(target)

    def show(self, tree):
        """Puts this tree in place of the one before."""
        self.close(self.fixed)
        for top in os.listdir(tree):
            self._show(os.path.join(tree, top), top)

    def close(self, kept=0):
        """Takes away what is shown, but for so many of the oldest."""
        while len(self.mounted) > kept:
            subprocess.run(["umount", "--recursive", self.mounted.pop()], check=True)

    def archive(self):
        return os.path.join(self.output, next(n for n in os.listdir(self.output) if n.endswith(".zip")))

    def clean(self):
        """Removes what a run leaves: its output, and its own log, which may be among the tree's files."""
        shutil.rmtree(self.output)
        os.remove(os.path.join(self.root, _OWN_LOG))
