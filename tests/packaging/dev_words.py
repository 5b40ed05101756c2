"""dev_words.py BUILD: what ./dev refuses before it installs or runs anything, and what `cmake --install` places."""
import pathlib
import re
import subprocess
import sys
import tempfile

import box

PROJECT = pathlib.Path(__file__).resolve().parents[2]
# Shell text that makes the folder /out; then whether ./dev collect gives it to the tool, which would empty it.
FOLDERS = {
    "true": True, "mkdir out": True, "mkdir out; touch out/.DS_Store": True, "mkdir out; ln -s out l; mv l out/logFiles": False,
    "mkdir -p out/logFiles out/logFiles.12 out/logFiles.left-9; touch out/oBrelaLog_1.zip out/oBrelaLog_1.zip.incomplete out/system_info.log": True,
    "mkdir out; touch out/oBrelaLog_1.zip out/thesis": False, "mkdir -p out/oBrelaLog_1.zip": False, "mkdir -p out/system_info.log": False,
    "mkdir -p out/pictures out/logFiles": False, "touch out": False, "mkdir out; touch out/oBrelaLog_1.zip.": False}
REFUSED = {"does not know": "nonsense|test all|sanitize msan|macos x|bench --fast|format --Check|tidy src|collect x|collect --foo|"
                            "collect -kx|collect -d=/x|collect -dk x|collect --help=x".split("|"),
           "no source has": ["mutate nonsense"], "needs a folder": ["collect --dir", "collect -kqd", "collect --dir="],
           "not the tool's own": ["collect --dir " + name for name in "/ // ../usr /usr/".split()], "is a file": ["collect -d /dev/null"],
           "a shell acts on": ["collect --dir '/a%s'" % ("'\\''" if c == "'" else c) for c in " \t\n|&;<>()$`\\\"'*?[]{}~#!"]}
# The rest of a collection, recorded: nothing is missing, and what is built is a program that says what it was given.
FAKES = r"""mkdir -p /fakes; export PATH=/fakes:$PATH; cd /fakes
printf '#!/bin/sh\necho install ok installed' >dpkg-query
printf '#!/bin/sh\nmkdir -p /here/build/release; printf "echo ran" >/here/build/release/LogCollectionTool; chmod +x /here/build/release/L*' >cmake
chmod +x *; cp /opt/dev /here/dev; cd /; """


def main(build):
    box.need()
    tried = "".join("rm -rf out; (%s); /here/dev collect --dir /out 2>&1 | grep -cx 'ran'\n" % text for text in FOLDERS)
    assert box.run(FAKES + tried, {"/opt/dev": PROJECT / "dev"}).split() == ["01"[used] for used in FOLDERS.values()], tried
    for reason, lines in REFUSED.items():
        for line in lines:
            said = box.run("mkdir src; cp /opt/dev .; ./dev %s || echo refused; ls" % line, {"/opt/dev": PROJECT / "dev"})
            assert reason in said and said.endswith("refused\ndev\nsrc\n") and "install" not in said, (line, said)
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["cmake", "--install", build, "--prefix", folder], stdout=subprocess.DEVNULL, check=True)
        version = box.run("PATH=/bin:/prefix/bin LogCollectionTool -v; ln -s /prefix/bin/LogCollectionTool x; ./x -v", {"/prefix": folder})
        assert re.fullmatch(r"([\d.]+?)\1", version), version
        for page in pathlib.Path(folder).rglob("*.md"):
            for link in re.findall(r"\]\(([^)#:]+)", page.read_text()):
                assert (page.parent / link).exists(), "%s links to %s, which is not installed" % (page, link)


main(sys.argv[1])
