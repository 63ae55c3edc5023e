"""From a bare Debian to a served line, by the commands of docs/operation.md as they stand there."""
import os
import re
import subprocess
import time

from machine import Fault, Machine

RECORDS = 2000
AGENT = """[Unit]
Description=Agent and logger of the instrument
StartLimitIntervalSec=0
[Service]
ExecStart=/opt/instrument/usr/bin/qmx-instrument --mibs /opt/instrument/mibs --type TwinexVARO \
--log-interval 1
Restart=always
RestartSec=1
[Install]
WantedBy=multi-user.target
"""
# Records of the past: like the first one, a second apart.
PAST = f"""CREATE TEMPORARY TABLE past SELECT first.*, seq
  FROM (SELECT * FROM LogEntry ORDER BY time_stamp LIMIT 1) AS first, seq_1_to_{RECORDS};
UPDATE past SET time_stamp = time_stamp - INTERVAL seq SECOND;
ALTER TABLE past DROP seq;
INSERT INTO LogEntry SELECT * FROM past;
"""
UNIT = "qmx-gateway@ttyUSB0"


def type_commands(machine, page):
    """Types the commands of the page's first section; what the laptop was answered."""
    section = re.search(r"^## From bare Debian.*?(?=^## )", open(page).read(), re.M | re.S)
    said = ""
    for command in re.findall("^    (.*)", section.group(), re.M):
        if command.startswith("qmx-console "):
            typed = [machine.console, machine.line.path, *command.split("#")[0].split()[2:]]
            machine.line.served(30)
            said = subprocess.run(typed, capture_output=True, text=True, timeout=60)
            if said.returncode != 0:
                raise Fault(f"{command}: {said.stderr}")
            said = said.stdout.strip()
            continue
        # journalctl -f is looked at for some seconds and ended by hand.
        if re.match(r"journalctl.* -\w*f", command):
            command = f"timeout 3 {command} || [ $? = 124 ]"
        machine.run(f"cd /mnt && {command}", 3600, answers="y")
        time.sleep(3)  # What it says is read before the next one is typed.
    return said


def serve(folder, disk, page):
    """Leaves a snapshot "served" on the disk: an enabled line with its adapter pulled."""
    new = f"{disk}.new"
    subprocess.run(["qemu-img", "create", "-q", "-f", "qcow2", "-F", "raw", "-b",
                    f"{folder}/bare.raw", new], check=True)
    machine = Machine(folder, new, cache="unsafe")
    try:
        machine.run("mount -o ro /dev/vdb /mnt")
        # The instrument of a controller is there before its gateway.
        machine.run("dpkg -x /mnt/qmx-instrument_*.deb /opt/instrument && cp -r /mnt/mibs /opt/instrument")
        machine.run("cat >/etc/systemd/system/instrument.service; systemctl enable --now instrument",
                    answers=AGENT)
        said = type_commands(machine, page)
        if "TwinexVARO" not in said:
            raise Fault(f"the laptop is told {said}")
        machine.run("systemctl disable --now qmx-gateway@ttyS0")
        machine.plug()
        machine.wait("[ -c /dev/ttyUSB0 ]")
        machine.run(f"systemctl enable --now {UNIT}")
        machine.adapter.served(60)
        machine.run("mysql twinex", answers=PAST)
        machine.pull()
        machine.wait("! systemctl is-active " + UNIT)
        machine.run("sync")
        snapshot = machine.ask_emulator("human-monitor-command", **{"command-line": "savevm served"})
        if snapshot.strip():
            raise Fault(snapshot)
    finally:
        machine.close()
    os.rename(new, disk)
    return said
