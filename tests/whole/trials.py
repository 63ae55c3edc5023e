"""The trials, each a function that returns its figures or raises a Fault."""
import calendar
import random
import re
import statistics
import subprocess
import threading
import time

from cable import Silence, join
from machine import Fault
from served import AGENT, RECORDS, UNIT

TRIALS = {}


def trial(count=1):
    """Adds a function to the trials; `count` is how often it does what it does unless told."""
    def add(function):
        TRIALS[function.__name__] = (function, count)
        return function
    return add


def require(held, otherwise):
    if not held:
        raise Fault(otherwise)


def spread(seconds):
    return f"{statistics.median(seconds):.1f} s (longest {max(seconds):.1f} s)"


def plugged(house):
    """The served machine with its adapter plugged in."""
    machine = house.served()
    machine.plug()
    machine.adapter.served(30)
    return machine


def rows(machine, condition, limit):
    """The records of the database as they go over the line."""
    text = machine.run(f"mysql -BN twinex -e \"SELECT * FROM LogEntry WHERE {condition} "
                       f"ORDER BY time_stamp LIMIT {limit}\"", 120)
    return [line.replace(" ", ",", 1).replace("\t", ",") for line in text.split("\n") if line]


def number(line, name):
    """The number of a register; this type of instrument leaves none out."""
    listed = line.ask("LPRC K0")
    require(name in listed, f"LPRC: {listed!r}")
    return listed.split("\n")[1].split(",").index(name + ".0") + 1


@trial(100)
def pulls(house, count):
    """The adapter is pulled and put back: idle, in an ASTO, in a request."""
    machine, line, after = plugged(house), None, []
    line = machine.adapter
    in_records = 0
    for i in range(count):
        if i % 5 == 3:
            line.ask("SSTO K0 B")
            line.rate = 20000
            line.send(f"4ASTO K0 {RECORDS}")
            time.sleep(random.uniform(1, 4))
            in_records += len(line.receive(1)) > 0
        if i % 5 == 4:
            line.send("4ARE")
        machine.pull()
        line.rate = 0
        time.sleep(random.uniform(0.2, 3))
        machine.plug()
        after.append(line.served(10))
    require(in_records == count // 5, "no ASTO was cut off")
    return f"{count} pulls, {in_records} of them in an ASTO: served again after {spread(after)}"


@trial()
def numbers(house, count):
    """Another adapter takes ttyUSB0; the unit by the adapter's own name finds its own."""
    machine = house.served()
    machine.run(f"systemctl disable {UNIT}")
    machine.plug()
    machine.wait("[ -e /dev/serial/by-id/*adapter* ]")
    name = machine.run("ls /dev/serial/by-id")
    unit = machine.run(f"systemd-escape --template=qmx-gateway@.service serial/by-id/{name}")
    machine.run(f"systemctl enable --now '{unit}'")
    first = machine.adapter.served(30)
    machine.pull()
    machine.wait("[ ! -e /dev/ttyUSB0 ]")
    machine.plug(machine.second, 2)
    machine.wait("[ -e /dev/ttyUSB0 ]")
    machine.plug()
    again = machine.adapter.served(10)
    device = machine.run("readlink /dev/serial/by-id/*adapter*")
    require(device.endswith("ttyUSB1"), f"the adapter is {device}")
    # It is there again before the service has quite ended.
    slow = "/run/systemd/system/qmx-gateway@.service.d"
    machine.run(f"mkdir {slow}; cat >{slow}/slow.conf; systemctl daemon-reload",
                answers="[Service]\nExecStopPost=sleep 5")
    machine.pull()
    machine.wait("systemctl show -P ActiveState 'qmx-gateway@*' | grep deactivating")
    time.sleep(1)
    machine.plug()
    soon = machine.adapter.served(20)
    return f"a name of {len('/dev/serial/by-id/' + name)} characters, served after {first:.1f} s; " \
           f"as ttyUSB1 after {again:.1f} s; put back while the service still ends, {soon:.1f} s"


@trial(3)
def download(house, count):
    """qmx-console downloads while the adapter is pulled again and again."""
    machine = plugged(house)
    machine.adapter.rate = 20000
    file, runs = f"{house.folder}/records.csv", 0
    subprocess.run(["rm", "-f", file], check=True)
    for i in range(count + 1):
        console = subprocess.Popen([machine.console, machine.adapter.path, "download", file],
                                   stderr=machine.log)
        if i < count:
            time.sleep(random.uniform(3, 6))
            machine.pull()
            time.sleep(2)
            machine.plug()
        status, runs = console.wait(300), runs + 1
    require(status == 0, f"the last console ended with {status}")
    with open(file) as records:
        got = records.read().strip().split("\n")[1:]
    wanted = rows(machine, "TRUE", len(got))
    require(got == wanted, "the file is not what the database holds")
    return f"{count} pulls, {runs} runs: {len(got)} records, each once"


def set_clock(machine, text, held=True):
    """SF26 with this text; the clock must be what it says, or go on as it went."""
    line = machine.adapter
    register = number(line, "qmxAKSetTime")
    before, start = float(machine.run("date +%s.%N")), time.monotonic()
    line.ask(f"EREG K0 {register} {text}")
    asked = time.monotonic()
    reply = line.ask("SF26 K0")
    now, read = float(machine.run("date +%s.%N")), time.monotonic()
    if held:
        form = "%Y-%m-%d %H:%M:%S" if text.count(":") == 2 else "%Y-%m-%d %H:%M"
        since = now - calendar.timegm(time.strptime(text, form))
        require(reply == "4SF26 0" and 0 <= since <= read - asked + 0.1,
                f"{text}: {reply}, the clock is {since:.1f} s further after {read - asked:.1f} s")
    else:
        require(reply == "4SF26 0 SE" and abs(now - before - (read - start)) < 2,
                f"{text}: {reply}, the clock moved by {now - before:.1f} s")
    return reply


def same_records(machine, count):
    """ASTO brings what the database has behind the pointer; how many that were."""
    line = machine.adapter
    pointer = line.ask(f"AREG K0 {number(line, 'qmxDatabasePointer')}").split(" ", 3)[3]
    lines = line.ask(f"ASTO K0 {count}").split("\n")
    wanted = rows(machine, f"time_stamp > '{pointer}'", int(lines[0].split()[2]))
    require(lines[1:] == wanted, f"ASTO behind {pointer} brought {lines[:4]}, not {wanted[:3]}")
    return len(wanted)


REFUSED_TIMES = ("2031-13-01 10:00:00", "2031-02-30 10:00", "2031-05-06", "2031-05-06 24:01:00",
                 "31-05 10:00", "tomorrow", "2031-05-06 07:08:09;date 010100002000", "today 10:00")


@trial()
def clock(house, count):
    """SF26 sets the clock of the machine; records go on across the step, forward and back."""
    machine = plugged(house)
    line = machine.adapter
    for text in REFUSED_TIMES:
        set_clock(machine, text, held=False)
    line.ask("SF03 K0")
    require(line.ask("SSTO K0 E") == "4SSTO 0", "SSTO refused")
    set_clock(machine, "2031-05-06 07:08:09")
    time.sleep(5)
    forward = same_records(machine, 1000)
    require(forward > 2 and rows(machine, "time_stamp > '2031-05-06 07:08:08'", 9), "no new record")
    set_clock(machine, "2007-03-15 14:30")
    time.sleep(5)
    # The pointer is in 2031, and so is all that it will bring.
    back = same_records(machine, 1000)
    line.ask("SSTO K0 B")
    oldest = same_records(machine, 3)
    require(oldest == 3, "the records of 2007 are not the oldest")
    return f"{len(REFUSED_TIMES)} texts refused; to the second forward and back; " \
           f"{forward} records behind the pointer after a step forward, {back} after one back"


@trial(20)
def power(house, count):
    """The power is cut while LPRC and ASTO are asked and the instrument logs."""
    machine = plugged(house)
    line, after = machine.adapter, []
    names = line.ask("LPRC K0").split("\n")[1]
    for i in range(count):
        line.ask("SSTO K0 B")
        line.rate = 20000
        logged = int(machine.run("mysql -BNe 'SELECT count(*) FROM twinex.LogEntry'"))
        cut = threading.Timer(random.uniform(0, 8), machine.cut)
        cut.start()
        while not machine.dark:
            try:
                line.ask(random.choice(("LPRC K0", "ASTO K0 300", "SSTO K0 B")), 1)
            except Silence:
                pass
        line.rate = 0
        start = time.monotonic()
        machine.start(adapter=True)
        line.served(300)
        after.append(time.monotonic() - start)
        listed = machine.run("cat /home/qmx/register.txt").split("\n")
        require([l.split(";")[1] for l in listed] == names.split(","), f"the list is {listed}")
        require(line.ask("LPRC K0").split("\n")[1] == names, "LPRC lists other names")
        machine.wait("mysqladmin ping", 120)
        require(int(machine.run("mysql -BNe 'SELECT count(*) FROM twinex.LogEntry'")) >= logged,
                "records are lost")
        line.ask("SSTO K0 B")  # The agent has forgotten the pointer.
        same_records(machine, 10)
    return f"{count} cuts: first reply {spread(after)} after power-on"


@trial(50)
def kills(house, count):
    """The daemon is killed at work."""
    machine = plugged(house)
    line, back, answered = machine.adapter, [], []
    for i in range(count):
        line.ask("SSTO K0 B")
        line.rate = 20000
        line.send(random.choice(("4ASTO K0 500", "4LPRC K0", "4LCFG K0")))
        time.sleep(random.uniform(0, 1))
        machine.run(f"systemctl kill -s KILL {UNIT}")
        died, started = (f"systemctl show -P ExecMain{what}TimestampMonotonic {UNIT}"
                         for what in ("Exit", "Start"))
        died = int(machine.run(f"until {died} | grep -vx 0; do sleep 0.2; done"))
        machine.wait(f"[ $({started}) -gt {died} ]", 20)
        back.append((int(machine.run(started)) - died) / 1e6)
        line.rate = 0
        answered.append(line.served(10))
    require(max(back) <= 6, f"back after {spread(back)}, answered {spread(answered)} later")
    return f"{count} kills: back after {spread(back)}, a request answered {spread(answered)} later"


PERL_TIME_SERVER = r"""use Socket; use Time::HiRes;
sub up { open my $f, "</proc/uptime"; (split " ", <$f>)[0] }
my $base = Time::HiRes::time() - up();  # what this server takes for the time, whatever the clock says
socket(S, PF_INET, SOCK_DGRAM, 17); bind(S, sockaddr_in(123, INADDR_LOOPBACK)) or die;
while (my $from = recv(S, my $asked, 512, 0)) {
  my $now = $base + up() + 2208988800; my $part = int(($now - int $now) * 4294967296);
  my @now = (int $now, $part);
  send(S, pack("C3 c N3", 0x24, 1, 4, -20, 0, 0, 0x4c4f434c) . pack("N2", @now) .
          substr($asked, 40, 8) . pack("N4", @now, @now), 0, $from);
}
"""


@trial()
def timesync(house, count):
    """SF26 with systemd-timesyncd running and a time server in reach."""
    machine = plugged(house)
    machine.run("cat >/root/server.pl", answers=PERL_TIME_SERVER)
    machine.run("systemd-run perl /root/server.pl; apt-get -y install systemd-timesyncd; "
                "echo NTP=127.0.0.1 >>/etc/systemd/timesyncd.conf; "
                "systemctl restart systemd-timesyncd", 600)
    machine.wait("[ -e /run/systemd/timesync/synchronized ]", 120)
    line, right = machine.adapter, time.time() - float(machine.run("date +%s.%N"))
    line.ask(f"EREG K0 {number(line, 'qmxAKSetTime')} 2031-05-06 07:08:09")
    reply, start = line.ask("SF26 K0"), time.monotonic()
    require(reply == "4SF26 0", reply)
    machine.wait("[ $(date +%Y) != 2031 ]", 120)
    back = time.monotonic() - start
    off = time.time() - float(machine.run("date +%s.%N")) - right
    require(abs(off) < 2, f"the clock is {off:.1f} s off")
    return f"SF26 answers {reply}, and timesyncd takes the clock back after {back:.1f} s"


def answered(line, requests=20):
    """How many of so many requests were answered."""
    count = 0
    for _ in range(requests):
        try:
            count += line.ask("LCFG K0", 3) == "4LCFG 0 1"
        except Silence:
            pass
    return count


@trial()
def owners(house, count):
    """A login prompt, a second unit under another name, ModemManager: who gets the port."""
    machine = plugged(house)
    line = machine.adapter
    said = lambda unit: machine.run(f"journalctl -b -o cat -u '{unit}'")
    figures = []
    refused = machine.run("systemctl start serial-getty@ttyUSB0", fails=True)
    require("conflicting jobs" in refused, refused)
    figures.append(f"login prompt cannot be started, {answered(line)} of 20 answered")
    machine.run(f"systemctl disable --now {UNIT}; systemctl start serial-getty@ttyUSB0; "
                f"systemctl enable --now {UNIT}; ! systemctl is-active serial-getty@ttyUSB0")
    line.served(30)
    figures.append(f"one that was there is ended, {answered(line)} of 20 answered")

    machine.run("""cat >/etc/udev/rules.d/90-logger.rules""",
                answers='SUBSYSTEM=="tty", KERNEL=="ttyUSB0", SYMLINK+="logger", TAG+="systemd"')
    machine.run("udevadm control --reload; udevadm trigger; udevadm settle; "
                "systemctl start --no-block qmx-gateway@logger")
    time.sleep(5)
    figures.append(f"two units, {answered(line)} of 20 answered")
    waits = said("qmx-gateway@logger")
    require("/dev/logger is in use by" in waits and "waits until it is free" in waits, waits)
    machine.run(f"systemctl kill -s KILL {UNIT}")
    figures.append(f"the second serves {line.served(30):.1f} s after the first has died")
    machine.wait(f"journalctl -b -n 2 -o cat -u {UNIT} | grep 'waits until it is free'")
    machine.run(f"systemctl stop qmx-gateway@logger; rm /etc/udev/rules.d/90-logger.rules; "
                f"udevadm control --reload; udevadm trigger; udevadm settle; systemctl start {UNIT}")

    machine.run("apt-get -y install minicom", 600)
    minicom = "env TERM=vt100 minicom -D /dev/ttyUSB0"
    tried = machine.run(f"sleep 20 | timeout 20 script -qc '{minicom}' /dev/null", fails=True)
    require("/dev/ttyUSB0 is locked" in tried, tried)
    machine.run(f"systemctl stop {UNIT}; systemd-run --unit=minicom bash -c \"sleep infinity | script "
                f"-qc '{minicom}' /dev/null\"; until pgrep -x minicom; do sleep 0.3; done; sleep 1; "
                f"systemctl start --no-block {UNIT}; sleep 3")
    require("is in use by minicom" in said(UNIT), said(UNIT))
    machine.run("systemctl stop minicom")
    figures.append(f"minicom and the gateway each wait for the other, which serves {line.served(30):.1f}"
                   " s after minicom has ended")

    machine.run("apt-get -y install modemmanager; systemctl start ModemManager", 600)
    for rules in ("with", "without"):
        if rules == "without":
            machine.run("ln -s /dev/null /etc/udev/rules.d/86-qmx-gateway.rules; "
                        "udevadm control --reload")
        machine.pull()
        time.sleep(2)
        machine.plug()
        line.served(60)
        figures.append(f"ModemManager {rules} the rules, {answered(line)} of 20 answered")
        require(rules == "without" or figures[-1].endswith(" 20 of 20 answered"), figures[-1])
    require(all("20 of 20" in f for f in figures[:3]), "; ".join(figures))

    machine.run("ln -s /lib/systemd/system/serial-getty@.service "
                "/etc/systemd/system/getty.target.wants/serial-getty@ttyS0.service; "
                "systemctl enable qmx-gateway@ttyS0; sync")
    machine.cut()
    machine.start()
    machine.line.served(300)
    require(machine.run("systemctl is-active serial-getty@ttyS0", fails=True) == "inactive", "both")
    figures.append(f"both enabled, after a boot {answered(machine.line)} of 20 answered")
    require(figures[-1].endswith(" 20 of 20 answered"), figures[-1])
    return "; ".join(figures)


# Each with what makes it, the beginning of what is to be named first, and what mends it.
DOCTORED = (
    ("systemctl stop instrument", "no answer in 6 s, and nothing listens on udp port 161",
     "systemctl start instrument; sleep 2"),
    ("echo flwo >/usr/share/snmp/orderNV.conf", "Unknown column 'flwo'", "rm /usr/share/snmp/orderNV.conf"),
    ("systemd-run --unit=reader bash -c 'sleep infinity </dev/ttyUSB0'; sleep 1",
     "/dev/ttyUSB0 is also open in",
     "systemctl stop reader"),
    (f"systemctl stop {UNIT}", "no gateway has /dev/ttyUSB0", f"systemctl start {UNIT}"),
    (f"systemctl stop {UNIT} mariadb", "no database server runs",
     f"systemctl start mariadb {UNIT}"),
)
METRICS = "/var/lib/prometheus/node-exporter"


@trial()
def doctor(house, count):
    """qmx-doctor on a line that is served, with faults, and by its timer; what the kernel counted."""
    machine = plugged(house)
    line, figures, longest = machine.adapter, [], 0

    def examine():
        said = machine.run(f"TIMEFORMAT='took %R'; time qmx-doctor; echo status $?", fails=True)
        text, seconds, status = re.fullmatch(r"(.*)\n+took ([\d.]+)\nstatus (\d)", said, re.S).groups()
        return text, re.findall(r"^First: (.*)", text, re.M), float(seconds), int(status)

    def counted():
        return [int(n) for n in re.search(r"(\d+) bytes received, (\d+) sent", examine()[0]).groups()]

    machine.run("journalctl --rotate --vacuum-time=1s")
    text, first, seconds, status = examine()
    require(status == 0 and not first, text)
    figures.append(f"healthy: status 0 after {seconds:.1f} s")
    for spoil, named, mend in DOCTORED:
        machine.run(spoil)
        text, first, seconds, status = examine()
        longest = max(longest, seconds)
        require(status == 4 and first and first[0].startswith(named), f"{spoil}: {text}")
        machine.run(mend)
        line.served(60)
    machine.run("journalctl --rotate --vacuum-time=1s")
    text, first, seconds, status = examine()
    require(status == 0, text)
    figures.append(f"{len(DOCTORED)} faults named first, after {longest:.1f} s at most")

    before = counted()
    for _ in range(10):
        line.ask("LCFG K0")
    delta = [after - b for after, b in zip(counted(), before)]
    require(delta == [10 * len("\x024LCFG K0\x03"), 10 * len("\x024LCFG 0 1\x03\r\n")],
            f"the kernel counted {delta}")
    figures.append(f"of 10 LCFG the kernel counted {delta[0]} bytes received, {delta[1]} sent")
    known = machine.run("udevadm info -q property -n ttyUSB0")
    require("ID_MM_DEVICE_IGNORE=1" in known, known)

    machine.run(f"mkdir -p {METRICS}; systemctl start qmx-doctor.timer")
    took = machine.wait(f"[ -s {METRICS}/qmx.prom ]", 300)
    told = machine.run(f"cat {METRICS}/qmx.prom")
    require(not re.search(r"^qmx_check.* [23]$", told, re.M) and "qmx_received_bytes_total" in told, told)
    figures.append(f"the timer's file has {len(told.splitlines())} lines, without a fault")
    return "; ".join(figures)


@trial()
def timer(house, count):
    """qmx-download@.timer downloads on the machine's other port, over a null-modem cable."""
    machine = plugged(house)
    join(machine.adapter, machine.line)
    machine.run("printf '[cellar]\\ndevice=/dev/ttyS0\\n' >/etc/qmx-console.conf; "
                "systemctl start qmx-download@cellar.timer; "
                "date -s \"$(date -d '1 hour' '+%F %H:59:55')\"")
    file = "/var/lib/qmx-download/cellar-$(date +%Y-%m).csv"
    waited = machine.wait("systemctl is-active qmx-download@cellar | grep activating", 200)
    took = machine.wait("systemctl show -P SubState qmx-download@cellar | grep dead", 600)
    said = machine.run("journalctl -b -o cat -u qmx-download@cellar")
    require(machine.run("systemctl show -P Result qmx-download@cellar") == "success", said)
    got = machine.run(f"cat {file}").split("\n")[1:]
    require(len(got) >= RECORDS and got == rows(machine, "TRUE", len(got)), said)
    return f"begun {waited:.0f} s after the clock was set shortly before the hour, " \
           f"{len(got)} records in {took:.0f} s"


def downloaded(machine, file, while_):
    """Downloads and continues until done, while something happens; the number of runs."""
    subprocess.run(["rm", "-f", file], check=True)
    command = [machine.console, machine.adapter.path, "download", file]
    console = subprocess.Popen(command, stderr=machine.log)
    time.sleep(4)
    while_()
    require(console.poll() != 0, "the download was done before")
    runs, status = 1, console.wait(300)
    while status != 0 and runs < 5:
        runs, status = runs + 1, subprocess.run(command, stderr=machine.log, timeout=300).returncode
    require(status == 0, f"the console ended with {status}")
    with open(file) as records:
        got = records.read().strip().split("\n")[1:]
    require(got == rows(machine, "TRUE", len(got)), "the file is not what the database holds")
    return runs


OURS = "find / -xdev ( -path /mnt -o -path /opt -o -path '/var/lib/systemd' -o -path /var/log " \
       "-o -path /run -o -path '/var/cache/*' -o -path /var/lib/dpkg ) -prune -o -iname '*qmx*' -print".replace(
           "(", "\\(").replace(")", "\\)")


@trial()
def upgrade(house, count):
    """The released packages are upgraded while a download runs; removal, purge, reinstallation."""
    machine = plugged(house)
    new = "/mnt/qmx-gateway_*.deb /mnt/qmx-console_*.deb"
    machine.run(f"apt-get -y purge qmx-gateway qmx-console; cd /mnt/released && apt-get -y install "
                f"./qmx-gateway_*.deb ./qmx-console_*.deb && systemctl enable --now {UNIT}", 600)
    machine.adapter.served(60)
    machine.adapter.rate = 2000
    program = f"readlink /proc/$(systemctl show -P MainPID {UNIT})/exe; sha256sum /usr/sbin/qmx-gateway"
    before = machine.run(program)
    runs = downloaded(machine, f"{house.folder}/records.csv",
                      lambda: machine.run(f"apt-get -y install --reinstall {new}", 600))
    after = machine.run(program)
    require(after != before and "deleted" not in after, f"{before} became {after}")
    figures = "/var/lib/prometheus/node-exporter"
    machine.run(f"mkdir -p {figures}; systemctl enable --now qmx-doctor.timer qmx-download@ttyS0.timer; "
                f"systemctl start qmx-doctor; test -s {figures}/qmx.prom")
    machine.run("apt-get -y remove qmx-gateway qmx-console", 600)
    machine.run("! pgrep -x qmx-gateway && ! systemctl --failed | grep qmx && "
                f"! systemctl list-timers | grep qmx && ! test -e {figures}/qmx.prom")
    left = machine.run(OURS + " | sort").split("\n")
    machine.run("apt-get -y purge qmx-gateway qmx-console", 600)
    purged = machine.run(OURS + " | sort").split("\n")
    require(set(purged) <= {"/home/qmx", "/var/lib/qmx-download"}, f"purge leaves {' '.join(purged)}")
    machine.run(f"apt-get -y install {new} && systemctl enable --now {UNIT}", 600)
    again = machine.adapter.served(60)
    return f"download complete in {runs} runs; removal leaves {' '.join(left)}; purge " \
           f"{' '.join(purged)}; reinstalled, it serves after {again:.1f} s"


class Examiner:
    """Asks again and again, and knows what a healthy gateway answered."""

    def __init__(self, line):
        self.line, self.count = line, {"right": 0, "refused": 0, "silent": 0}
        name = number(line, "qmxInstrumentType")
        self.right = {ask: line.ask(ask) for ask in ("LCFG K0", "LPRC K0", "LDHD K0",
                                                     f"AREG K0 {name}", "SF09 K0", "SSTO K0 B")}
        self.oldest = line.ask("ASTO K0 5")

    def ask(self, request):
        try:
            reply = self.line.ask(request, 10)
        except Silence as silence:
            require(str(silence).endswith("b''"), f"cut off: {silence}")
            self.count["silent"] += 1
            return ""
        kind = "refused" if reply.endswith(" SE") else "right"
        self.count[kind] += 1
        return reply

    def all(self):
        for request, right in self.right.items():
            reply = self.ask(request)
            require(reply in ("", right) or reply == f"4{request.split()[0]} 0 SE",
                    f"{request}: {reply!r}")
        if reply == right:  # SSTO has put the pointer on the oldest record.
            reply = self.ask("ASTO K0 5")
            # An agent that was started anew has forgotten the pointer.
            require(reply in ("", self.oldest, "4ASTO 0 SE") or
                    reply.split("\n")[2:] == self.oldest.split("\n")[1:5], f"ASTO: {reply!r}")

    def __str__(self):
        return ", ".join(f"{count} {kind}" for kind, count in self.count.items())


def memory(machine):
    return int(machine.run(f"grep VmRSS /proc/$(systemctl show -P MainPID {UNIT})/status").split()[1])


@trial(100)
def restarts(house, count):
    """The agent, then the database, are restarted again and again while a logger asks."""
    machine = plugged(house)
    figures = []
    for service in ("instrument", "mariadb"):
        examiner = Examiner(machine.adapter)
        examiner.all()
        before = memory(machine)
        machine.run(f"systemd-run --unit=restarts-{service} bash -c 'for i in $(seq {count}); do "
                    f"systemctl restart {service}; sleep 1; done'")
        while machine.run(f"systemctl is-active restarts-{service} || true") == "active":
            examiner.all()
        machine.wait(f"systemctl is-active {service}")
        require(f"Main process exited" not in machine.run(f"journalctl -b -u {UNIT}"), "it has ended")
        time.sleep(7)
        figures.append(f"{service} restarted {count} times: {examiner}, memory {before} to "
                       f"{memory(machine)} kB")
        require(memory(machine) - before < 200, figures[-1])
        examiner.line.served(30)
        examiner.ask("SSTO K0 B")
        require(examiner.ask("ASTO K0 5") == examiner.oldest, "the records are not answered again")
    return "; ".join(figures)


@trial()
def disk(house, count):
    """A full disk, then one that can only be read."""
    machine = plugged(house)
    examiner, figures = Examiner(machine.adapter), []
    for what, spoil, mend in (
            ("full", "for size in 1G 64M 4M 64K 4K; do while fallocate -l $size /fill.$((n++)); do :; "
             "done; done 2>/dev/null; ! echo more >/home/qmx/more 2>/dev/null",
             lambda: machine.run("rm -f /fill.* /home/qmx/more")),
            # As after an error of the disk: nothing but a restart makes it writable again.
            ("read-only", "sync; echo u >/proc/sysrq-trigger; sleep 1; ! touch /home/qmx/more",
             lambda: (machine.cut(), machine.start(adapter=True)))):
        examiner.count = dict.fromkeys(examiner.count, 0)
        machine.run(spoil, 120)
        for _ in range(3):
            examiner.all()
        mend()
        back = examiner.line.served(300)
        examiner.all()
        figures.append(f"{what}: {examiner}; served {back:.1f} s after that")
        require(examiner.ask("LPRC K0") == examiner.right["LPRC K0"], "LPRC is not right again")
        same_records(machine, 10)
    return "; ".join(figures)


PERL_REFUSING_AGENT = r"""use Socket;
socket(S, PF_INET, SOCK_DGRAM, 17); bind(S, sockaddr_in(161, INADDR_LOOPBACK)) or die;
while (my $from = recv(S, my $p, 512, 0)) {
  $p =~ /pelmar\xa0/ or next;  # a GetRequest becomes a response with the error genErr
  my $pdu = $+[0] - 1; my $id = ord substr($p, $pdu + 3, 1);
  substr($p, $pdu, 1) = "\xa2"; substr($p, $pdu + $id + 6, 1) = "\x05"; substr($p, $pdu + $id + 9, 1) = "\x01";
  send(S, $p, 0, $from);
}
"""


@trial(86400)
def journal(house, count):
    """A day (86400 s) without an agent, and with one that refuses; idle time passes at once."""
    machine = house.cold(["-accel", "tcg,thread=single", "-icount", "shift=3,sleep=off", "-smp", "1"])
    machine.plug()
    machine.wait(f"systemctl is-active {UNIT}")
    machine.run("cat >/root/agent.pl", answers=PERL_REFUSING_AGENT)
    machine.run("sleep 20; systemctl stop instrument mariadb")
    machine.adapter.send("4LCFG K0")  # The agent is asked again only when a request has come.
    figures = []
    for what, agent in (("dead", "true"), ("refusing", "systemd-run perl /root/agent.pl")):
        machine.run(f"{agent}; journalctl --rotate --vacuum-size=1; sleep {count}", 3600)
        export = f"journalctl -o export -u {UNIT}"
        size = int(machine.run(f"{export} | wc -c", 600))
        lines = int(machine.run(f"journalctl -o cat -u {UNIT} | wc -l", 600))
        held = machine.run("journalctl --disk-usage")
        figures.append(f"{what}: {lines} lines, {size / 1e6:.1f} MB as exported, {held}")
        machine.log.write(figures[-1] + "\n")
        require(lines > count / 10 and size < 100e6, figures[-1])
    return "; ".join(figures)
