"""The tunnel service's dump, fetched from real peers on loopback."""
import itertools
import re

import sandbox
from sandbox import MIB, SHARED

PORT_FILE = SHARED + "/var/run/debugserver"
BEGIN, END = "begin dump trust xtunnel process info ...", "end dump trust xtunnel proces info"
DUMP = "info xtunnel dump:\n"
CUT = ("warning", "dumpXTunnelProc", "xtunnel dump cut; Reason: only its first 4194304 bytes are kept")
TRANSPORT = r"error dump xtunnel failed\.; Reason: http reply failed, ec:\S.*"
OK = b"HTTP/1.1 200 OK\r\n"


def ok(body):
    return OK + b"Content-Length: %d\r\n\r\n%s" % (len(body), body)


def endless(header):
    return lambda connection: [connection.sendall(part) for part in itertools.chain([header], itertools.repeat(b"x" * MIB))]


class Tunnel(sandbox.Case):
    def fetch(self, answer, port=0, port_file=None, env=()):
        """One run against a peer: what the tunnel's thread logged between its first and its last record."""
        self.peer = self.server(answer, port)
        box = self.box()
        box.put(PORT_FILE, str(self.peer.port) if port_file is None else port_file)
        if port:
            box.put(SHARED + "/debug")  # switches debug records on
        self.result = box.run("-q", env=env)
        self.peer.shutdown()
        self.peer.server_close()
        log = box.log()
        lines = [x[1:] for x in log if x.function in ("dumpXTunnelProc", "getServicePortViaPath") or x.message in (BEGIN, END)]
        self.assertEqual((lines[0], lines[-1]), (("info", "operator()", BEGIN), ("info", "operator()", END)))
        self.assertIn(END.encode(), box.zip()["LogColltionTool.log"])
        return lines[1:-1]

    def test_answers(self):
        """(peer's answer, environment) -> the one record, as a pattern."""
        whole = "{} {0} %s module\n" + "x" * 5000 + "\n\ttail \udcff"
        trap = self.server(ok(b"trapped"))
        redirect = b"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:%d/\r\nContent-Length: 0\r\n\r\n" % trap.port
        proxies = dict.fromkeys("http_proxy HTTP_PROXY all_proxy ALL_PROXY".split(), "http://127.0.0.1:%d" % trap.port)
        for name, answer, env, expected in (
                ("never cut", ok(whole.encode(errors="surrogateescape")), {}, re.escape(DUMP + whole)),
                ("until close", b"HTTP/1.0 200 OK\r\n\r\nabc", {}, DUMP + "abc"),
                ("chunked", OK + b"Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", {}, DUMP + "abc"),
                ("proxies set", ok(b"direct"), proxies, DUMP + "direct"),
                ("redirect", redirect, {}, r"error dump xtunnel failed\.; Reason: http status 302"),
                ("rubbish", b"\0\xff\xfe\r\n\r\nrubbish" * 50, {}, TRANSPORT),
                ("closed at once", b"", {}, TRANSPORT),
                ("cut short", OK + b"Content-Length: 100\r\n\r\nonly this", {}, TRANSPORT),
                ("endless header", endless(OK + b"X: "), {}, TRANSPORT),
                ("4 MiB", ok(b"x" * (4 * MIB)), {}, DUMP + "x*"),
                ("a byte more", ok(b"x" * (4 * MIB + 1)), {}, DUMP + "x*"),
                ("endless body", endless(OK + b"\r\n"), {}, DUMP + "x*")):
            with self.subTest(name):
                (level, function, message), *cut = self.fetch(answer, env=env)
                self.assertEqual((function, cut), ("dumpXTunnelProc", [CUT] * (name in ("a byte more", "endless body"))))
                self.assertEqual(len(message) == len("xtunnel dump:\n") + 4 * MIB, bool(cut) or name == "4 MiB")
                self.assertRegex(level + " " + message[:10000], r"(?s)\A(" + expected + r")\Z")
                [request] = self.peer.requests
                first, *headers = request.decode().split("\r\n")
                self.assertEqual((first, sorted(headers)), ("GET /debug/modules HTTP/1.1", sorted([
                    "Accept: */*", "Connection: close", "Content-Type: application/x-www-form-urlencoded", "", "",
                    "Host: 127.0.0.1:%d" % self.peer.port, "User-Agent: oBrelaLogCollection"])))
        self.assertEqual(trap.requests, [])

    def test_port_file(self):
        """A bad file is told and leads to port 7777. The record for what is no number is malformed, on purpose."""
        place = "Reason: process:oBrelaAgent ,service:debugserver"
        none = "get service port failed; " + place
        out_of_range = "get service port failed,the port is out of range; " + place + ",path:" + PORT_FILE + ",content:"
        for content, told, malformed in (("77\r\n", [none], 1), ("7\t7 7\n7", [], 0),
                                         ("6 55 36\n", [out_of_range + "65536", none], 0)):
            with self.subTest(content):
                self.assertEqual(self.fetch(ok(b"found"), port=7777, port_file=content),
                                 [("error", "getServicePortViaPath", text) for text in told] +
                                 [("debug", "getServicePortViaPath", "port file path:%s,port:7777" % PORT_FILE)] * (not told) +
                                 [("info", "dumpXTunnelProc", "xtunnel dump:\nfound")])
                self.assertEqual(self.result.err.count("[LogCollectionTool:getServicePortViaPath:"), malformed)
