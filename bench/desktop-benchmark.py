#!/usr/bin/env python3
"""Compares wisp with a minimal Qt tray application (bench/minimal-tray) on one Xvfb display with
a real tray (trayer) and a private session bus:

  idle    both run side by side, settle, then for IDLE seconds: own CPU (all threads), CPU of
          reaped children (lsof runs, where wisp falls back to them) and mean resident memory.
  launch  RUNS launches of each, interleaved: time from spawn until the icon is viewable in the
          tray (build/bin/wisp-bench-tray-launch). Medians and their ratio.

    bench/desktop-benchmark.py [--bin build/bin] [--idle 60] [--runs 15] [--only idle|launch]

wisp runs as after onboarding, with a projects folder of three projects, from a private HOME,
XDG_CONFIG_HOME, XDG_STATE_HOME and TMPDIR under one temporary folder that is removed at the end.
With WISP_BENCH_RESULTS set, appends "name<TAB>wisp<TAB>baseline<TAB>ratio" rows to that file.
"""
import argparse
import ctypes
import ctypes.util
import os
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TICK = os.sysconf("SC_CLK_TCK")


def wait_for(condition, seconds, what):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            sys.exit(f"timed out waiting for {what}")
        time.sleep(0.02)


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def tray_owned(display):
    xlib = ctypes.CDLL(ctypes.util.find_library("X11"))
    xlib.XOpenDisplay.restype = ctypes.c_void_p
    xlib.XOpenDisplay.argtypes = [ctypes.c_char_p]
    xlib.XInternAtom.restype = ctypes.c_ulong
    xlib.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
    xlib.XGetSelectionOwner.restype = ctypes.c_ulong
    xlib.XGetSelectionOwner.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
    xlib.XCloseDisplay.argtypes = [ctypes.c_void_p]
    connection = xlib.XOpenDisplay(display.encode())
    if not connection:
        return False
    atom = xlib.XInternAtom(connection, b"_NET_SYSTEM_TRAY_S0", 0)
    owned = xlib.XGetSelectionOwner(connection, atom) != 0
    xlib.XCloseDisplay(connection)
    return owned


class Session:
    """Xvfb, a session bus, trayer and a private home; everything stopped and removed on close."""

    def __init__(self):
        self.processes = []
        self.folder = tempfile.mkdtemp(prefix="wisp-desktop-bench-")
        self.env = dict(os.environ)

    def spawn(self, command, **kwargs):
        process = subprocess.Popen(command, env=self.env, **kwargs)
        self.processes.append(process)
        return process

    def start(self):
        read_end, write_end = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x800x24",
                    "-nolisten", "tcp", "-noreset"], pass_fds=(write_end,),
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as pipe:
            number = pipe.readline().strip()
        if not number:
            sys.exit("Xvfb did not start")
        display = ":" + number
        bus = self.spawn(["dbus-daemon", "--session", "--nofork",
                          "--address=unix:path=" + os.path.join(self.folder, "bus"),
                          "--print-address=1"], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, text=True)
        address = bus.stdout.readline().strip()
        if not address:
            sys.exit("dbus-daemon did not start")

        home = os.path.join(self.folder, "home")
        for sub in ("config", "state", "cache", "data", "tmp"):
            os.makedirs(os.path.join(home, sub))
        for name in ("WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_CURRENT_DESKTOP",
                     "SESSION_MANAGER"):
            self.env.pop(name, None)
        self.env.update({
            "DISPLAY": display, "DBUS_SESSION_BUS_ADDRESS": address, "HOME": home,
            "XDG_CONFIG_HOME": os.path.join(home, "config"),
            "XDG_STATE_HOME": os.path.join(home, "state"),
            "XDG_CACHE_HOME": os.path.join(home, "cache"),
            "XDG_DATA_HOME": os.path.join(home, "data"),
            "TMPDIR": os.path.join(home, "tmp"),
        })
        self.spawn(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                    "--height", "32", "--transparent", "false", "--SetDockType", "true"],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: tray_owned(display), 10, "trayer to take the tray selection")
        self.make_projects(home)

    def make_projects(self, home):
        """A projects folder as onboarding leaves it, with a Node, a Python and a static project."""
        projects = os.path.join(home, "projects")
        node = os.path.join(projects, "shop")
        os.makedirs(os.path.join(node, "src"))
        with open(os.path.join(node, "package.json"), "w") as f:
            f.write('{"name": "shop", "scripts": {"dev": "vite --port %d"},'
                    ' "devDependencies": {"vite": "5"}}\n' % free_port())
        os.makedirs(os.path.join(projects, "api"))
        with open(os.path.join(projects, "api", "requirements.txt"), "w") as f:
            f.write("flask\n")
        os.makedirs(os.path.join(projects, "site"))
        with open(os.path.join(projects, "site", "index.html"), "w") as f:
            f.write("<html>\n")
        os.makedirs(os.path.join(self.env["XDG_CONFIG_HOME"], "wisp"))
        with open(os.path.join(self.env["XDG_CONFIG_HOME"], "wisp", "wisp.conf"), "w") as f:
            f.write("[General]\nhasCompletedOnboarding=true\n"
                    f"projectsFolderBookmark=@ByteArray({projects})\n")

    def close(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(5)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
            if process.stdout:
                process.stdout.close()
        shutil.rmtree(self.folder, ignore_errors=True)


def cpu_seconds(pid):
    """Own CPU of all threads (nanosecond run times), and reaped children's CPU (clock ticks)."""
    own = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/schedstat") as f:
                own += int(f.read().split()[0])
        except FileNotFoundError:
            pass
    with open(f"/proc/{pid}/stat") as f:
        fields = f.read().rsplit(")", 1)[1].split()
    # Fields 14-17 of stat, counted from after the command name.
    children = (int(fields[13]) + int(fields[14])) / TICK
    return own / 1e9, children


def rss_kib(pid):
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return 0


def measure_idle(session, binaries, seconds):
    log = open(os.path.join(session.folder, "wisp.log"), "w+")
    wisp = session.spawn([binaries["wisp"]], stdout=subprocess.DEVNULL, stderr=log)
    minimal = session.spawn([binaries["minimal"]], stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)

    def polling():
        log.seek(0)
        return "[AppDelegate] Starting polling on port" in log.read()

    wait_for(polling, 30, "wisp to start polling")
    time.sleep(5)  # start-up work (icon, menu, first polls) is not idle time
    for process in (wisp, minimal):
        if process.poll() is not None:
            sys.exit(f"{process.args[0]} exited while settling")
    start = {p.pid: cpu_seconds(p.pid) for p in (wisp, minimal)}
    rss = {wisp.pid: [], minimal.pid: []}
    began = time.monotonic()
    while time.monotonic() - began < seconds:
        for process in (wisp, minimal):
            rss[process.pid].append(rss_kib(process.pid))
        time.sleep(1)
    end = {p.pid: cpu_seconds(p.pid) for p in (wisp, minimal)}
    result = {}
    for name, process in (("wisp", wisp), ("minimal", minimal)):
        own = (end[process.pid][0] - start[process.pid][0]) * 1000
        children = (end[process.pid][1] - start[process.pid][1]) * 1000
        result[name] = (own, children, statistics.mean(rss[process.pid]) / 1024)
    for process in (wisp, minimal):
        process.terminate()
        process.wait(10)
    log.close()
    return result


def measure_launch(session, binaries, runs):
    times = {"wisp": [], "minimal": []}
    cpu = {"wisp": [], "minimal": []}
    order = ["wisp", "minimal"]
    # One launch each first fills the page cache; it is not counted.
    for run in range(runs + 1):
        for name in order:
            output = subprocess.run([binaries["launch"], "10000", binaries[name]], env=session.env,
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
            if output.returncode != 0:
                sys.exit(f"launch of {name} failed: no tray icon")
            if run > 0:
                wall, used = output.stdout.split()
                times[name].append(float(wall))
                cpu[name].append(float(used))
        order.reverse()
    return times, cpu


def record(name, wisp, baseline, digits):
    path = os.environ.get("WISP_BENCH_RESULTS")
    if path:
        ratio = f"{wisp / baseline:.2f}" if baseline else "n/a"
        with open(path, "a") as f:
            f.write(f"{name}\t{wisp:.{digits}f}\t{baseline:.{digits}f}\t{ratio}\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", default=os.path.join(ROOT, "build", "bin"))
    parser.add_argument("--idle", type=float, default=60, help="idle window in seconds")
    parser.add_argument("--runs", type=int, default=15, help="launches of each application")
    parser.add_argument("--only", choices=("idle", "launch"))
    args = parser.parse_args()
    binaries = {"wisp": os.path.join(args.bin, "wisp"),
                "minimal": os.path.join(args.bin, "wisp-bench-minimal-tray"),
                "launch": os.path.join(args.bin, "wisp-bench-tray-launch")}
    for path in binaries.values():
        if not os.access(path, os.X_OK):
            sys.exit(f"{path} not found: build it first (bench/run-all builds what it needs)")

    # An interrupted run still stops what it started and removes its folder.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    session = Session()
    try:
        session.start()
        if args.only != "idle":
            times, cpu = measure_launch(session, binaries, args.runs)
            wisp, minimal = statistics.median(times["wisp"]), statistics.median(times["minimal"])
            wisp_cpu, minimal_cpu = statistics.median(cpu["wisp"]), statistics.median(cpu["minimal"])
            record(f"launch to tray icon (ms, median of {args.runs})", wisp, minimal, 1)
            record("launch: CPU used until the icon shows (ms, median)", wisp_cpu, minimal_cpu, 1)
            print(f"launch to tray icon, median of {args.runs} runs each (interleaved)")
            print(f"  wisp:    {wisp:7.1f} ms  (min {min(times['wisp']):.1f}, "
                  f"max {max(times['wisp']):.1f})")
            print(f"  minimal: {minimal:7.1f} ms  (min {min(times['minimal']):.1f}, "
                  f"max {max(times['minimal']):.1f})")
            print(f"  ratio:   {wisp / minimal:7.2f}")
            print(f"  CPU until the icon shows, median: wisp {wisp_cpu:.1f} ms, minimal "
                  f"{minimal_cpu:.1f} ms, ratio {wisp_cpu / minimal_cpu:.2f}")
        if args.only != "launch":
            idle = measure_idle(session, binaries, args.idle)
            w_own, w_children, w_rss = idle["wisp"]
            m_own, m_children, m_rss = idle["minimal"]
            record(f"idle CPU over {args.idle:g} s (ms, children included)",
                   w_own + w_children, m_own + m_children, 1)
            record("idle resident memory (MiB)", w_rss, m_rss, 1)
            print(f"idle for {args.idle:g} s, side by side")
            print(f"  {'':9} {'own CPU ms':>11} {'children ms':>12} {'RSS MiB':>8}")
            print(f"  {'wisp':9} {w_own:11.1f} {w_children:12.1f} {w_rss:8.1f}")
            print(f"  {'minimal':9} {m_own:11.1f} {m_children:12.1f} {m_rss:8.1f}")
            def ratio(a, b):
                return f"{a / b:.1f}" if b else "n/a (the minimal application used none)"

            print(f"  ratios wisp/minimal: RSS {w_rss / m_rss:.2f}, own CPU {ratio(w_own, m_own)}, "
                  f"CPU with children {ratio(w_own + w_children, m_own + m_children)}")
    finally:
        session.close()


if __name__ == "__main__":
    main()
