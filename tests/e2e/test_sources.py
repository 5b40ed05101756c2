"""Which files reach the archive, under which names, and what happens to older output."""
import os

import sandbox
from sandbox import ALWAYS, LAUNCHD, MIB, SCRATCH, SHARED

LOGS = "/Users/ada" + SHARED + "/logs/"
REPORTS, AGENTS = "/Library/Logs/DiagnosticReports", "/var/log/quelmar/OKVU3_LOG/"


class Sources(sandbox.Case):
    def test_every_source_and_destination(self):
        """Of extensions the last one counts, in any case; none is fine. Names begin at the last "logs/" of the path."""
        box, expected = self.box(console="ada"), {}
        sources = [line.split(" -> ") for line in sandbox.expected("sources").splitlines()]
        for source, *entries in sources:
            box.put(source, source)
            expected.update(dict.fromkeys(set(entries) - {"none"}, source.encode()))
        box.run()
        contents = box.zip()
        self.assertEqual(set(contents), set(expected) | ALWAYS | {"logs/uem_ada/system_state.log"})
        self.assertEqual({k: contents[k] for k in expected}, expected)
        for message in ("copy: %s/s.crash into DiagnosticReports" % REPORTS,
                        "ignore diagnostic report: %s/s.diag" % REPORTS, "launchd.log file size %d" % len(LAUNCHD),
                        "The condition not met, the filePath(%sa.exe) will ignore" % LOGS):
            self.assertEqual(box.messages().count(message), 1, message)
        self.assertEqual([x for x in box.log() if x.level != "info" and "unnel" not in x.message and
                          "get service port" not in x.message], [], "nothing is missing, nothing fails")
        self.assertEqual([source for source, *_ in sources[:-1] if not os.path.exists(box.path(source))], [])

    def test_key_logs_are_judged_at_local_time(self):
        """Files' times are UTC and are compared with local time read as UTC."""
        box = self.box(console="ada")
        box.put(LOGS + "early.log", age=-4 * 3600)
        box.put(LOGS + "late.log", age=30 * 86400 - 4 * 3600)
        box.run("-k", env={"TZ": "<+05>-5"})
        self.assertEqual({n for n in box.zip() if n.startswith("logs/ada/")}, {"logs/ada/early.log"})
        refused = "Collect key logs is enable, the filePath(%slate.log) will ignore" % LOGS
        self.assertIn(refused, box.messages("operator()"))

    def test_size_limits(self):
        """Agents' logs up to 200 MiB in all, the launchd log up to 10 MiB. (Key logs: counted, but not all copied.)"""
        for over, gate, launchd in ((0, "original size(200M), will collect", "size 10485760"),
                                    (1, "is too big(200M), not collect", "size > 10MB, not collected.")):
            box = self.box()
            box.put(AGENTS + "okvu_service/big.log", size=199 * MIB + over)
            box.put(AGENTS + "okvusp_driver/a/rest", size=MIB - 1)
            box.put(AGENTS + "okvu_packman/small.log", size=1)
            box.put(AGENTS + "okvu_packman/not_counted.bin", size=300 * MIB)
            box.put("/big/not_counted.log", size=300 * MIB)
            box.link("/big", AGENTS + "okvu_agent_sys")
            box.put(LAUNCHD, size=10 * MIB + over)
            box.run("-k")
            self.assertEqual(box.messages("checkIsCollectOkvuLog"), ["okvuLogPath " + gate])
            self.assertEqual([m[17:] for m in box.messages() if m.startswith("launchd.log file ")], [launchd])
            self.assertEqual(["logs/OKVU/okvu_packman/small.log" in box.zip(),
                              len(box.zip().get("system/com.apple.xpc.launchd/launchd.log", ""))],
                             [False, 0] if over else [True, 10 * MIB])

    def test_files_of_tunnel_and_name_service_stay_out(self):
        """Something drops files into the top of the scratch folder, which is open to all, while the tool collects."""
        box = self.box(fakes={"chmod": "", "journalctl": "cd %s && touch Tunnel.log oBrelaDNS.log a-tunnel any.exe && "
                              "ln -s any.exe link && mkdir tunnel empty && touch tunnel/tunnel.log && "
                              "stat -c %%a . .. >dns.log" % SCRATCH})
        box.run()
        self.assertEqual(box.zip()["dns.log"], b"777\n777\n")
        self.assertEqual(set(box.zip()), ALWAYS | {"dns.log", "any.exe", "tunnel/tunnel.log"})
