"""The trials, each a function that returns its figures or raises a Fault."""
import calendar
import random
import re
import statistics
import subprocess
import time

from cable import join
from machine import Fault
from served import RECORDS, UNIT

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


def replug(machine):
    machine.pull()
    time.sleep(random.uniform(0.2, 3))
    machine.plug()


def rows(machine, condition, limit):
    """The records of the database as they go over the line."""
    text = machine.run(f"mysql -BN twinex -e \"SELECT * FROM LogEntry WHERE {condition} "
                       f"ORDER BY time_stamp LIMIT {limit}\"", 120)
    return [line.replace(" ", ",", 1).replace("\t", ",") for line in text.split("\n") if line]


def whole_file(machine, text):
    """How many records a file of them holds, which must be those of the database."""
    got = text.strip().split("\n")[1:]
    require(len(got) >= RECORDS and got == rows(machine, "TRUE", len(got)),
            "the file is not what the database holds")
    return len(got)


def same_records(machine, count):
    """ASTO brings what the database has behind the pointer; how many that were."""
    line = machine.adapter
    pointer = line.ask(f"AREG K0 {number(line, 'qmxDatabasePointer')}").split(" ", 3)[3]
    lines = line.ask(f"ASTO K0 {count}").split("\n")
    wanted = rows(machine, f"time_stamp > '{pointer}'", int(lines[0].split()[2]))
    require(lines[1:] == wanted, f"ASTO behind {pointer} brought {lines[:4]}, not {wanted[:3]}")
    return len(wanted)


def number(line, name):
    """The number of a register; this type of instrument leaves none out."""
    listed = line.ask("LPRC K0")
    require(name in listed, f"LPRC: {listed!r}")
    return listed.split("\n")[1].split(",").index(name + ".0") + 1


def at_work(machine, count, disturb, within):
    """Disturbs the gateway in a request, or behind it; the seconds until it served again."""
    line, after = machine.adapter, []
    for _ in range(count):
        line.ask("SSTO K0 B")
        line.rate = 20000
        line.send(random.choice(("4ASTO K0 1000", "4LPRC K0", "4LCFG K0")))
        time.sleep(random.uniform(0, 3))
        start = time.monotonic()
        disturb(machine)
        line.rate = 0
        line.served(within)
        after.append(time.monotonic() - start)
    return after


@trial(100)
def pulls(house, count):
    """The adapter is pulled and put back."""
    after = at_work(plugged(house), count, replug, 10)
    return f"{count} pulls: served again after {spread(after)}"


@trial(50)
def kills(house, count):
    """The daemon is killed."""
    after = at_work(plugged(house), count, lambda m: m.run(f"systemctl kill -s KILL {UNIT}"), 16)
    return f"{count} kills: served again after {spread(after)}"


@trial(20)
def power(house, count):
    """The power is cut while the instrument logs."""
    machine, after = plugged(house), []
    line = machine.adapter
    names = line.ask("LPRC K0").split("\n")[1]
    records = "mysql -BNe 'SELECT count(*) FROM twinex.LogEntry'"

    def cut(machine):
        machine.cut()
        machine.start(adapter=True)

    for _ in range(count):
        logged = int(machine.run(records))
        after += at_work(machine, 1, cut, 300)
        listed = machine.run("cat /home/qmx/register.txt").split("\n")
        require([l.split(";")[1] for l in listed] == names.split(","), f"the list is {listed}")
        require(line.ask("LPRC K0").split("\n")[1] == names, "LPRC lists other names")
        machine.wait("mysqladmin ping", 120)
        require(int(machine.run(records)) >= logged, "records are lost")
        line.ask("SSTO K0 B")  # The agent has forgotten the pointer.
        same_records(machine, 10)
    return f"{count} cuts: first reply {spread(after)} after power-on"


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
    machine.plug("second", 2)
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


@trial()
def clock(house, count):
    """SF26 sets the clock of the machine; records go on across the step, forward and back."""
    machine, behind = plugged(house), []
    line = machine.adapter
    register = number(line, "qmxAKSetTime")
    line.ask("SF03 K0")
    require(line.ask("SSTO K0 E") == "4SSTO 0", "SSTO refused")
    for text, form in (("2031-05-06 07:08:09", "%Y-%m-%d %H:%M:%S"),
                       ("2007-03-15 14:30", "%Y-%m-%d %H:%M")):
        line.ask(f"EREG K0 {register} {text}")
        asked = time.monotonic()
        reply = line.ask("SF26 K0")
        since = float(machine.run("date +%s.%N")) - calendar.timegm(time.strptime(text, form))
        took = time.monotonic() - asked
        require(reply == "4SF26 0" and 0 <= since <= took + 0.1,
                f"{text}: {reply}, the clock is {since:.1f} s further after {took:.1f} s")
        time.sleep(5)
        # When the clock is in 2007 the pointer is in 2031, and so is all that it will bring.
        behind.append(same_records(machine, 1000))
    require(behind[0] > 2, "no new record")
    line.ask("SSTO K0 B")
    require(same_records(machine, 3) == 3, "the records of 2007 are not the oldest")
    return "to the second forward and back; {} records behind the pointer after a step forward, " \
           "{} after one back".format(*behind)


@trial()
def owners(house, count):
    """A login prompt, minicom: who gets the port."""
    machine = plugged(house)

    def alone(line, limit=30):
        seconds = line.served(limit)
        for _ in range(20):  # A second reader would take half the bytes.
            require(line.ask("LCFG K0", 3) == "4LCFG 0 1", "another answer")
        return seconds

    refused = machine.run("systemctl start serial-getty@ttyUSB0", fails=True)
    require("conflicting jobs" in refused, refused)
    alone(machine.adapter)
    machine.run(f"systemctl disable --now {UNIT}; systemctl start serial-getty@ttyUSB0; "
                f"systemctl enable --now {UNIT}; ! systemctl is-active serial-getty@ttyUSB0")
    alone(machine.adapter)

    machine.run("apt-get -y install minicom", 600)
    minicom = "script -qc 'env TERM=vt100 minicom -D /dev/ttyUSB0' /dev/null"
    tried = machine.run(f"sleep 20 | timeout 20 {minicom}", fails=True)
    require("/dev/ttyUSB0 is locked" in tried, tried)
    machine.run(f"systemctl stop {UNIT}; systemd-run --unit=minicom bash -c \"sleep infinity | "
                f"{minicom}\"; until pgrep -x minicom; do sleep 0.3; done; sleep 1; "
                f"systemctl start --no-block {UNIT}")
    machine.wait(f"journalctl -b -o cat -u {UNIT} | grep 'is in use by minicom'")
    machine.run("systemctl stop minicom")
    after = alone(machine.adapter)

    machine.run("ln -s /lib/systemd/system/serial-getty@.service "
                "/etc/systemd/system/getty.target.wants/serial-getty@ttyS0.service; "
                "systemctl enable qmx-gateway@ttyS0; sync")
    machine.cut()
    machine.start()
    alone(machine.line, 300)
    require(machine.run("systemctl is-active serial-getty@ttyS0", fails=True) == "inactive", "both")
    return "no login prompt beside the gateway, by hand or after a boot; minicom and the gateway each " \
           f"wait for the other, which serves {after:.1f} s after minicom has ended"


@trial()
def doctor(house, count):
    """qmx-doctor on a line that is served, with its service stopped, and by its timer; the counters."""
    machine = plugged(house)
    line = machine.adapter

    def examine(status):
        said = machine.run("qmx-doctor; echo status $?", 120, fails=True)
        require(said.endswith(f"status {status}"), said)
        return said

    def counted():
        return [int(n) for n in re.search(r"(\d+) bytes received, (\d+) sent", examine(0)).groups()]

    machine.run("journalctl --rotate --vacuum-time=1s")
    before = counted()
    for _ in range(10):
        line.ask("LCFG K0")
    delta = [after - b for after, b in zip(counted(), before)]
    require(delta == [10 * len("\x024LCFG K0\x03"), 10 * len("\x024LCFG 0 1\x03\r\n")],
            f"the kernel counted {delta}")
    known = machine.run("udevadm info -q property -n ttyUSB0")
    require("ID_MM_DEVICE_IGNORE=1" in known, known)

    figures = "/var/lib/prometheus/node-exporter"
    machine.run(f"mkdir -p {figures}; systemctl start qmx-doctor.timer")
    machine.wait(f"[ -s {figures}/qmx.prom ]", 300)
    told = machine.run(f"cat {figures}/qmx.prom")
    require(not re.search(r"^qmx_check.* [23]$", told, re.M) and "qmx_received_bytes_total" in told, told)

    machine.run(f"systemctl stop {UNIT}")
    said = examine(4)
    require("\nFirst: no gateway has /dev/ttyUSB0" in said, said)
    return f"healthy, and stopped; of 10 LCFG the kernel counted {delta[0]} bytes received, " \
           f"{delta[1]} sent; the timer's file has {len(told.splitlines())} lines, without a fault"


@trial()
def timer(house, count):
    """qmx-download@.timer downloads on the machine's other port, over a null-modem cable."""
    machine = plugged(house)
    join(machine.adapter, machine.line)
    machine.run("printf '[cellar]\\ndevice=/dev/ttyS0\\n' >/etc/qmx-console.conf; "
                "systemctl start qmx-download@cellar.timer; "
                "date -s \"$(date -d '1 hour' '+%F %H:59:55')\"")
    waited = machine.wait("systemctl is-active qmx-download@cellar | grep activating", 200)
    took = machine.wait("systemctl show -P SubState qmx-download@cellar | grep dead", 600)
    said = machine.run("journalctl -b -o cat -u qmx-download@cellar")
    require(machine.run("systemctl show -P Result qmx-download@cellar") == "success", said)
    got = whole_file(machine, machine.run("cat /var/lib/qmx-download/cellar-$(date +%Y-%m).csv"))
    return f"begun {waited:.0f} s after the clock was set shortly before the hour, " \
           f"{got} records in {took:.0f} s"


def downloaded(house, rate, while_):
    """Downloads and continues until done, while something happens; how that went."""
    machine, file = house.machine, f"{house.folder}/records.csv"
    machine.adapter.rate = rate
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
        return f"{whole_file(machine, records.read())} records, each once, in {runs} runs"


@trial(3)
def download(house, count):
    """qmx-console downloads while the adapter is pulled again and again."""
    machine = plugged(house)

    def pull():
        for _ in range(count):
            replug(machine)
            time.sleep(random.uniform(3, 6))

    return f"{count} pulls: {downloaded(house, 4000, pull)}"


OURS = r"find / -xdev \( -path /mnt -o -path /opt -o -path /var/lib/systemd -o -path /var/log " \
       r"-o -path /run -o -path '/var/cache/*' -o -path /var/lib/dpkg \) -prune -o -iname '*qmx*' -print"


@trial()
def upgrade(house, count):
    """The released packages are upgraded while a download runs; removal, purge, reinstallation."""
    machine = plugged(house)
    new = "/mnt/qmx-gateway_*.deb /mnt/qmx-console_*.deb"
    machine.run(f"apt-get -y purge qmx-gateway qmx-console; cd /mnt/released && apt-get -y install "
                f"./qmx-gateway_*.deb ./qmx-console_*.deb && systemctl enable --now {UNIT}", 600)
    machine.adapter.served(60)
    program = f"readlink /proc/$(systemctl show -P MainPID {UNIT})/exe; sha256sum /usr/sbin/qmx-gateway"
    before = machine.run(program)
    brought = downloaded(house, 2000,
                         lambda: machine.run(f"apt-get -y install --reinstall {new}", 600))
    after = machine.run(program)
    require(after != before and "deleted" not in after, f"{before} became {after}")
    figures = "/var/lib/prometheus/node-exporter"
    machine.run(f"mkdir -p {figures}; systemctl enable --now qmx-doctor.timer qmx-download@ttyS0.timer; "
                f"systemctl start qmx-doctor; test -s {figures}/qmx.prom")
    machine.run("apt-get -y remove qmx-gateway qmx-console", 600)
    machine.run("! pgrep -x qmx-gateway && ! systemctl --failed | grep qmx && "
                f"! systemctl list-timers | grep qmx && ! test -e {figures}/qmx.prom")
    left = machine.run(OURS).replace("\n", " ")
    machine.run("apt-get -y purge qmx-gateway qmx-console", 600)
    purged = machine.run(OURS).split("\n")
    require(set(purged) <= {"/home/qmx", "/var/lib/qmx-download"}, f"purge leaves {' '.join(purged)}")
    machine.run(f"apt-get -y install {new} && systemctl enable --now {UNIT}", 600)
    again = machine.adapter.served(60)
    return f"download: {brought}; removal leaves {left}; purge {' '.join(purged)}; " \
           f"reinstalled, it serves after {again:.1f} s"


@trial(20)
def restarts(house, count):
    """The agent and the database are restarted."""
    machine = plugged(house)
    after = at_work(machine, count, lambda m: m.run("systemctl restart instrument mariadb", 120), 30)
    require("Main process exited" not in machine.run(f"journalctl -b -u {UNIT}"), "it has ended")
    machine.adapter.ask("SSTO K0 B")
    same_records(machine, 10)
    return f"{count} times both: served again after {spread(after)}, records right"


@trial(3)
def journal(house, count):
    """So many minutes with an agent that refuses: what the journal takes."""
    machine = plugged(house)
    machine.run("cat >/root/faults", answers="fault get * error 5 1")
    machine.run("systemctl stop instrument; systemd-run /opt/instrument/usr/bin/qmx-instrument "
                "--mibs /opt/instrument/mibs --faults /root/faults")
    machine.adapter.send("4LCFG K0")  # The agent is asked again only when a request has come.
    time.sleep(60 * count)
    lines = int(machine.run(f"journalctl -o cat -u {UNIT} --since=-{count}min | wc -l"))
    require(10 < lines < 60 * (count + 1), f"{lines} lines in {count} minutes")
    return f"{lines} lines in {count} minutes"
