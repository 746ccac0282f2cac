"""Makes the files of a machine with 16 CPUs, 300 processes, 60 control groups, 150 devices and 68 sensors."""
import pathlib

CPUS, PROCESSES, GROUPS, DEVICES, CHIPS = 16, 300, 60, 150, 4


def make(folder):
    root = pathlib.Path(folder)

    def put(path, text):
        file = root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(f"{text}\n")

    cpus = range(CPUS)
    columns = " ".join("1000" for _ in cpus)
    put("proc/stat", "cpu 1 2 3 4 5 6 7 8 0 0\n" + "".join(f"cpu{cpu} 100 20 300 4000 50 6 7 8 0 0\n" for cpu in cpus)
        + "intr 5000\nctxt 7000\nbtime 1700000000\nprocesses 900\nprocs_running 2\nprocs_blocked 0")
    put("proc/uptime", "100000.00 400000.00")
    put("proc/loadavg", "0.50 1.25 2.00 2/300 4000")
    put("proc/meminfo", "".join(f"{name}: {1000 * at} kB\n" for at, name in enumerate(
        "MemTotal MemFree MemAvailable Buffers Cached SwapCached Active Inactive Dirty Writeback AnonPages Mapped Shmem "
        "KReclaimable Slab SwapTotal SwapFree".split(), 2)))
    heads = " ".join(f"CPU{cpu}" for cpu in cpus)
    put("proc/interrupts", heads + "\n" + "".join(f"{line}: {columns} chip {line}-edge device{line}\n" for line in range(80))
        + "".join(f"{name}: {columns} {name} interrupts\n" for name in ("NMI", "LOC", "RES", "CAL", "TLB")))
    put("proc/softirqs", heads + "\n" + "".join(f"{name}: {columns}\n" for name in (
        "HI", "TIMER", "NET_TX", "NET_RX", "BLOCK", "IRQ_POLL", "TASKLET", "SCHED", "HRTIMER", "RCU")))
    put("proc/diskstats", "".join(f"259 {n} nvme{n}n1 100 0 800 50 200 0 1600 90 0 70 140 0 0 0 0\n" for n in range(2)))
    put("proc/net/dev", "Inter-| Receive | Transmit\n face |bytes\n" + "".join(
        f"{name}: 9000 80 0 0 0 0 0 0 7000 60 0 0 0 0 0 0\n" for name in ("lo", "eth0", "eth1", "wlan0")))
    for name in ("cpu", "io", "memory"):
        put(f"proc/pressure/{name}", "".join(f"{kind} avg10=0.00 avg60=0.00 avg300=0.00 total=7\n" for kind in ("some", "full")))
    for process in range(1, PROCESSES + 1):
        put(f"proc/{process}/stat", f"{process} (worker {process}) S 1 " + " ".join(["7"] * 48))
    put("sys/fs/cgroup/cgroup.controllers", "cpu io memory pids")
    for group in range(GROUPS):
        place = f"sys/fs/cgroup/slice{group % 6}/unit{group}"
        put(f"{place}/cpu.stat", f"usage_usec {group}000\nuser_usec 5\nsystem_usec 5")
        put(f"{place}/memory.current", group * 4096)
    put("sys/devices/system/cpu/online", f"0-{CPUS - 1}")
    for cpu in cpus:
        place = f"sys/devices/system/cpu/cpu{cpu}"
        put(f"{place}/topology/physical_package_id", 0)
        put(f"{place}/topology/core_id", cpu // 2)
        put(f"{place}/cpufreq/scaling_cur_freq", 1800000)
        put(f"{place}/cpufreq/scaling_governor", "powersave")
        put(f"{place}/thermal_throttle/core_throttle_count", 0)
        put(f"{place}/thermal_throttle/package_throttle_count", 0)
        for state, name in enumerate(("POLL", "C1E", "C6", "C8", "C10")):
            put(f"{place}/cpuidle/state{state}/name", name)
            put(f"{place}/cpuidle/state{state}/time", 1000)
            put(f"{place}/cpuidle/state{state}/usage", 10)
    put("sys/devices/system/cpu/cpu0/tsc_freq_khz", 2000000)
    for domain, name in (("0", "package-0"), ("0:0", "core"), ("0:1", "uncore"), ("1", "psys")):
        place = f"sys/class/powercap/intel-rapl:{domain}"
        put(f"{place}/name", name)
        put(f"{place}/energy_uj", 123456789)
        put(f"{place}/max_energy_range_uj", 262143328850)
        put(f"{place}/constraint_0_name", "long_term")
        put(f"{place}/constraint_0_power_limit_uw", 28000000)
    for chip in range(CHIPS):
        place = f"sys/class/hwmon/hwmon{chip}"
        put(f"{place}/name", f"chip{chip}")
        for kind, count, value in (("temp", 9, 45000), ("in", 5, 1200), ("fan", 3, 2100)):
            for number in range(1, count + 1):
                put(f"{place}/{kind}{number}_input", value)
    for device in cpus:
        put(f"sys/class/thermal/cooling_device{device}/type", "Processor")
        put(f"sys/class/thermal/cooling_device{device}/cur_state", 0)
    for zone in range(6):
        put(f"sys/class/thermal/thermal_zone{zone}/type", f"zone{zone}")
        put(f"sys/class/thermal/thermal_zone{zone}/temp", 43000)
    for device in range(DEVICES):
        place = f"sys/devices/pci0000:00/0000:00:{device:02x}.0/power"
        for name, value in (("runtime_status", "suspended"), ("runtime_active_time", 100), ("runtime_suspended_time", 900),
                            ("control", "auto")):
            put(f"{place}/{name}", value)
    for source in range(20):
        place = f"sys/class/wakeup/wakeup{source}"
        for name, value in (("name", f"source{source}"), ("active_count", 3), ("active_time_ms", 0), ("total_time_ms", 30)):
            put(f"{place}/{name}", value)
