#!/usr/bin/env python3
"""Pings through networks of its own: a sender, a router and a target, each in a namespace. PING_PROBE_BINARY names the
program that pings."""
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "tests/support"))
import report  # noqa: E402, it lies in a folder beside this one

PROBE = os.environ.get("PING_PROBE_BINARY", str(REPOSITORY / "build/dev/tests/ping_probe"))
ENVIRONMENT = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
SENDER, ROUTER, TARGET = (f"qf-ping-{os.getpid()}-{role}" for role in "srt")
NET, HOST = "11002   [ ip dest net unreachable ]", "11003   [ ip dest host unreachable ]"
TIMED_OUT, TTL = "11010   [ ip req timed out ]", "11013   [ ip ttl expired transit ]"
BAD, GENERAL = "11018   [ ip bad destination ]", "11050   [ ip general failure ]"
# Beyond the target's 198.51.100.0/26 the router knows only these.
LAYOUT = f"""{SENDER} link set lo up
{SENDER} link add s0 type veth peer name r0 netns {ROUTER}; {SENDER} addr add 192.0.2.1/24 dev s0
{ROUTER} link add r1 type veth peer name t0 netns {TARGET}; {TARGET} addr add 198.51.100.1/26 dev t0
{ROUTER} addr add 192.0.2.254/24 dev r0; {ROUTER} addr add 198.51.100.62/26 dev r1
{SENDER} link set s0 up; {ROUTER} link set r0 up; {ROUTER} link set r1 up; {TARGET} link set t0 up
{SENDER} route add default via 192.0.2.254; {TARGET} route add default via 198.51.100.62
{ROUTER} route add unreachable 198.51.100.64/28; {ROUTER} route add prohibit 198.51.100.80/28
{ROUTER} route add blackhole 198.51.100.96/28; {ROUTER} route add 198.51.100.112/28 via 198.51.100.1
{SENDER} route add unreachable 198.51.100.128/28; {SENDER} route add prohibit 198.51.100.144/28
{SENDER} route add blackhole 198.51.100.160/28; {SENDER} route add throw 198.51.100.176/28
{ROUTER} route add 198.51.100.192/28 via 192.0.2.1"""
# No report is held back or late; those of routes that end still are, when one sender gets more than five at once.
SETTINGS = ((ROUTER, "ip_forward", 1), (TARGET, "ip_forward", 1), (ROUTER, "icmp_ratemask", 0),
            (TARGET, "icmp_ratemask", 0), (ROUTER, "neigh/r1/retrans_time_ms", 50),
            (ROUTER, "neigh/r1/mcast_solicit", 1), (SENDER, "ip_default_ttl", 8))
ANSWERS = (("127.0.0.1", "answered"), ("198.51.100.1", "answered"), ("198.51.100.9", HOST),  # nobody there
           ("198.51.100.64", HOST), ("198.51.100.80", HOST), ("198.51.100.96", TIMED_OUT), ("198.51.100.208", NET),
           ("198.51.100.112", TTL),  # goes to and fro between router and target
           ("198.51.100.192", TIMED_OUT),  # is lost; that the router advises a better way to it is no answer
           ("192.0.2.77", TIMED_OUT),  # a neighbour that is not there
           ("198.51.100.128", HOST), ("198.51.100.144", GENERAL), ("198.51.100.160", BAD), ("198.51.100.176", NET),
           ("192.0.2.255", GENERAL))  # a broadcast
WITHOUT_RAW = ("setpriv", "--bounding-set=-net_raw")
EVERYBODY, NOBODY = "0 2147483647", "1 0"


def ip(*words, **more):
    subprocess.run(["ip", *words], check=True, capture_output=True, text=True, timeout=60, env=ENVIRONMENT, **more)


def put_setting(namespace, name, value):
    ip("netns", "exec", namespace, "tee", f"/proc/sys/net/ipv4/{name}", input=str(value))


def start(addresses, *prefix):
    return subprocess.Popen(["ip", "netns", "exec", SENDER, *prefix, PROBE, *addresses], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True, env=ENVIRONMENT)


def answers(process):
    try:
        out, errors = process.communicate(timeout=60)
    finally:
        process.kill()
    assert (process.returncode, errors) == (0, ""), (process.returncode, errors)
    return [(int(took), message) for took, message in (line.split(" ", 1) for line in out.splitlines())]


@unittest.skipUnless(os.geteuid() == 0 and shutil.which("ip"), "namespaces need root and iproute2")
class PingTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for namespace in (SENDER, ROUTER, TARGET):
            try:
                ip("netns", "add", namespace)
            except subprocess.CalledProcessError as error:
                raise unittest.SkipTest(f"this machine makes no namespaces: {error.stderr}") from error
            cls.addClassCleanup(ip, "netns", "delete", namespace)
        for command in LAYOUT.replace(";", "\n").split("\n"):
            ip("-n", *command.split())
        for setting in SETTINGS:
            put_setting(*setting)

    def test_what_each_network_answers(self):
        # A system lets everybody ping, or only who may open raw sockets.
        for group_range, prefix in ((EVERYBODY, WITHOUT_RAW), (NOBODY, ())):
            put_setting(SENDER, "ping_group_range", group_range)
            results = answers(start([address for address, _ in ANSWERS], *prefix))
            self.assertEqual(len(results), len(ANSWERS))
            for (address, expected), (took, message) in zip(ANSWERS, results):
                with self.subTest(address=address, group_range=group_range):
                    self.assertEqual(message, expected)
                    low, high = (500, 900) if expected is TIMED_OUT else (0, 450)
                    self.assertTrue(low <= took < high, took)

    def test_who_may_not_ping_hears_success_at_once(self):
        put_setting(SENDER, "ping_group_range", NOBODY)
        for took, message in answers(start(["198.51.100.96", "198.51.100.64"], *WITHOUT_RAW)):
            self.assertEqual((message, took < 100), ("answered", True))

    def test_what_others_hear_is_not_the_own_answer(self):
        # Every raw socket is told of every reply and every report.
        put_setting(SENDER, "ping_group_range", NOBODY)
        rows = (("198.51.100.96", TIMED_OUT, 4), ("198.51.100.112", TTL, 500), ("198.51.100.1", "answered", 500))
        processes = [(start([address] * times), expected) for address, expected, times in rows]
        for process, expected in processes:
            with self.subTest(expected=expected):
                # A busy machine may lose one.
                self.assertEqual({message for _, message in answers(process)} - {TIMED_OUT}, {expected} - {TIMED_OUT})


if __name__ == "__main__":
    report.main()
