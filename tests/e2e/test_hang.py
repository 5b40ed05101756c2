"""Everything that the tool waits for never ends. Many runs side by side, so that the waiting is paid once."""
import os
import time

import sandbox
from sandbox import BANNER, SHARED, UEM_LOGS

RUNS = 20
TIMEOUTS = {("collect" + function, "Exec collect%s is timeout" % what) for function, what in (
    ("RunningLog", "SystemStateForUem"), ("RunningLog", "SystemWideLog"), ("SystemInfo", "SystemInfo"))}


def drip(connection):
    """A byte a second, until the tool hangs up."""
    connection.sendall(b"HTTP/1.1 200 OK\r\n\r\n")
    while True:
        connection.sendall(b".")
        time.sleep(1)


class Hang(sandbox.Case):
    def test_every_command_and_the_peer_hang(self):
        fakes = dict.fromkeys(sandbox.FAKES, "exec sleep 1000000")
        fakes["journalctl"] = "yes oBrela | head -c 9000; setsid sleep 1000000 & wait"  # has printed, and would print more
        peers = [self.server(lambda connection: connection.recv(1)), self.server(drip)]
        boxes = [self.box(console="ada", fakes=fakes, tool=sandbox.SHORT_LIMITS) for _ in range(RUNS)]
        for number, box in enumerate(boxes):
            box.put(UEM_LOGS + "u.log")
            box.put(SHARED + "/var/run/debugserver", str(peers[number % 2].port))
        for box, started in [(box, box.start()) for box in boxes]:
            self.assertEqual(box.finish(started).err, "")
            self.assertEqual({x[2:] for x in box.log() if x.message.endswith("is timeout")}, TIMEOUTS)
            self.assertRegex("\n".join(box.messages("dumpXTunnelProc")),
                             r"\Adump xtunnel failed.; Reason: http reply failed, ec:\S.*\Z")
            self.assertEqual(box.messages()[-1], "Collection log completed")
            contents = box.zip()
            self.assertEqual(contents["system_info.log"].decode(), BANNER % "os info" + "NAME=box\n")
            self.assertEqual(contents["logs/uem_ada/system_state.log"].decode(), BANNER % "UEM processes")
            self.assertRegex(contents["logs/system_wide.log"], rb"\A(oBrela\n){1000}")
            self.assertIn(b"Exec collectSystemInfo is timeout", contents["LogColltionTool.log"])
            self.assertEqual(os.listdir(box.path(sandbox.ROOT_DIR)), box.archives())
        sandbox.wait_until_alone()
