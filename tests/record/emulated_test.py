#!/usr/bin/env python3
"""Lets sensors, upower and perf look at the same emulated devices as a recording does: emulated_test.py PWRHOST

Machines that tests run on seldom have a battery or fans; umockdev gives other programs a sys of its own making. Nor do
they count energy: two clocks of the kernel, one for each CPU, are given out as such counters below a sys of which a part
is covered.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

UPOWER_DAEMON = "/usr/libexec/upowerd"
TESTS = ("OtherEyes.test_sensors_shows_the_same_values", "OtherEyes.test_upower_sees_the_same_batteries")
SUPPLY = {"type": "Battery", "status": "Discharging", "present": 1, "technology": "Li-ion", "scope": "System",
          "voltage_min_design": 15360000}
DEVICES = {
    "LNXSYSTM:00/BAT0/power_supply/BAT0": {**SUPPLY, "voltage_now": 15420000, "power_now": 9876000, "capacity": 82,
        "energy_full_design": 57000000, "energy_full": 50280000, "energy_now": 41230000},
    "LNXSYSTM:00/BAT1/power_supply/BAT1": {**SUPPLY, "voltage_now": 11870000, "current_now": -830000, "capacity": 47,
        "charge_full_design": 4000000, "charge_full": 3900000, "charge_now": 1833000},
    "platform/chip.0/hwmon/hwmon3": {"name": "coretemp", "temp1_input": 47000, "temp1_label": "Package id 0",
        "temp2_input": -4500, "fan1_input": 2412, "in0_input": 12015, "power1_average": 8125000, "curr1_input": 850},
}


def description():
    text = ""
    for path, files in DEVICES.items():
        kind, name = path.split("/")[-2:]
        text += f"P: /devices/{path}\nE: SUBSYSTEM={kind}\nE: POWER_SUPPLY_NAME={name}\nE: POWER_SUPPLY_TYPE=Battery\n"
        text += "".join(f"A: {file}={value}\\n\n" for file, value in files.items())
        text += "L: device=../..\n\n"
    return text + "P: /devices/platform/chip.0\nE: SUBSYSTEM=platform\n"


LOOK = pathlib.Path(__file__).with_name("interop_test.py")
EVENTS = pathlib.Path("/sys/bus/event_source/devices")
JOULES_PER_NSEC = {"pkg": 2.5e-8, "psys": 6e-8}  # 25 and 60 W


def look_at_energy(pwrhost):
    """In a space of mounts of its own."""
    subprocess.run(["mount", "-t", "tmpfs", "none", EVENTS], check=True)
    cpus = min(os.cpu_count(), 2)
    files = {"type": 1, "cpumask": ",".join(map(str, range(cpus))), "format/event": "config:0-7"}
    for config, (name, scale) in enumerate(JOULES_PER_NSEC.items()):
        event = f"events/energy-{name}"
        files |= {event: f"event={config:#04x}", event + ".unit": "Joules", event + ".scale": scale}
    for name, text in files.items():
        path = EVENTS / "power" / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f"{text}\n")
    done = subprocess.run([sys.executable, LOOK, pwrhost, "2", "/", "OtherEyes.test_perf_sees_the_same_energy"],
                          stderr=subprocess.PIPE, text=True)
    print(done.stderr)
    return done.returncode != 0 or "skipped" in done.stderr


def emulate_energy(pwrhost):
    """Only who may do anything can cover a part of sys and count on a whole CPU."""
    may = subprocess.run(["unshare", "--mount", "sh", "-c", f"perf stat -a -e cpu-clock true && mount -t tmpfs none {EVENTS}"],
                         capture_output=True)
    if may.returncode != 0 or any(pathlib.Path("/sys/class/powercap").glob("*/energy_uj")):
        print("no energy is emulated here")
        return 0
    return subprocess.run(["unshare", "--mount", sys.executable, __file__, pwrhost, "energy"], timeout=120).returncode


def inside(pwrhost):
    """With the emulated devices, and a bus that upower takes for the system's."""
    environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": os.environ["DBUS_SESSION_BUS_ADDRESS"]}
    daemon = subprocess.Popen([UPOWER_DAEMON], env=environment, stderr=subprocess.DEVNULL)
    try:
        subprocess.run(["gdbus", "wait", "--session", "--timeout", "30", "org.freedesktop.UPower"], check=True)
        done = subprocess.run([sys.executable, LOOK, pwrhost, "2", os.environ["UMOCKDEV_DIR"], *TESTS], env=environment,
                              stderr=subprocess.PIPE, text=True)
        print(done.stderr)
        return done.returncode != 0 or "skipped" in done.stderr
    finally:
        daemon.terminate()
        daemon.wait()


def main():
    if "energy" in sys.argv[2:]:
        return look_at_energy(sys.argv[1])
    if "DBUS_SESSION_BUS_ADDRESS" in os.environ and "UMOCKDEV_DIR" in os.environ:
        return inside(sys.argv[1])
    missing = [name for name in ("umockdev-run", "dbus-run-session", "gdbus", "sensors", "upower", UPOWER_DAEMON)
               if not shutil.which(name)]
    if missing:
        print("skipped: there is no", ", ".join(missing))
        return 77
    if emulate_energy(sys.argv[1]) != 0:
        return 1
    with tempfile.TemporaryDirectory() as folder:
        devices = pathlib.Path(folder, "devices")
        devices.write_text(description())
        return subprocess.run(["dbus-run-session", "--", "umockdev-run", "-d", devices, "--", sys.executable, __file__,
                               *sys.argv[1:]], timeout=120).returncode


sys.exit(main())
