"""A headless browser, with everything that it writes in a box, and the page that shows an archive open in it."""
import os
import pathlib
import shutil
import sys

sys.path.append("/usr/lib/python3/dist-packages")  # where Debian has selenium, whichever Python runs this
try:
    from selenium import webdriver
except ImportError:
    webdriver = None
PROGRAMS = [shutil.which(name) for name in ("chromium", "chromedriver")]
PAGE = pathlib.Path(__file__).resolve().parents[2] / "viewer" / "archive.html"
OPTIONS = ("headless=new no-sandbox disable-gpu disable-quic no-first-run disable-background-networking disable-sync "
           "disable-component-update disable-dev-shm-usage hide-scrollbars window-size=1000,900")


def need():
    """Ends the test as skipped where there is no such browser; in CI, as failed."""
    if not all(PROGRAMS + [webdriver]):
        print("skipped: chromium, its driver and Python's selenium are not all on this machine")
        sys.exit(1 if os.environ.get("CI") == "true" else 77)


def start(case, box):
    """A selenium driver with the page open, for one test case; what it downloads is in the box's /downloads."""
    options = webdriver.ChromeOptions()
    options.binary_location = PROGRAMS[0]
    for option in OPTIONS.split() + ["user-data-dir=" + box.path("/profile")]:
        options.add_argument("--" + option)
    box.put("/downloads", os.mkdir)
    options.add_experimental_option("prefs", {"download.default_directory": box.path("/downloads")})
    environment = dict(os.environ, HOME=box.root, TMPDIR=box.path("/tmp"))
    driver = webdriver.Chrome(service=webdriver.chrome.service.Service(PROGRAMS[1], env=environment), options=options)
    case.addCleanup(driver.quit)
    driver.get(PAGE.as_uri())
    return driver
