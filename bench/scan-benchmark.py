#!/usr/bin/env python3
"""Times wisp-scan on a generated tree of 2,000 projects against `find` listing the folders the scan
visits, and prints the ratio of the medians (goal: at most 1.5).

    bench/scan-benchmark.py [--bin build/bin] [--runs 7] [--keep]

The tree: 20 groups x 10 sub-groups x 10 projects. Four in five projects are Node projects, each
with a package.json, a node_modules folder of 500 entries and a .git folder (both must be skipped);
the rest are Go, Python and static-site projects. With WISP_BENCH_RESULTS set, appends a
"name<TAB>wisp<TAB>find<TAB>ratio" row to that file (bench/run-all).
"""
import argparse
import os
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def generate(root):
    for g in range(20):
        for s in range(10):
            for p in range(10):
                n = (g * 10 + s) * 10 + p
                project = os.path.join(root, f"group-{g}", f"team-{s}", f"project-{n}")
                os.makedirs(project)
                kind = n % 5
                if kind == 4:
                    other = (n // 5) % 3
                    if other == 0:
                        open(os.path.join(project, "go.mod"), "w").write("module x\n")
                    elif other == 1:
                        open(os.path.join(project, "requirements.txt"), "w").write("flask\n")
                    else:
                        open(os.path.join(project, "index.html"), "w").write("<html>\n")
                        open(os.path.join(project, "style.css"), "w").write("body{}\n")
                    continue
                with open(os.path.join(project, "package.json"), "w") as f:
                    f.write('{"name": "p%d", "scripts": {"dev": "vite --port %d"},'
                            ' "devDependencies": {"vite": "5"}}\n' % (n, 3000 + n))
                if n % 3 == 0:
                    open(os.path.join(project, ".env"), "w").write("PORT=%d\n" % (4000 + n))
                modules = os.path.join(project, "node_modules")
                os.makedirs(modules)
                for i in range(500):
                    open(os.path.join(modules, f"pkg-{i}"), "w").close()
                git = os.path.join(project, ".git", "objects")
                os.makedirs(git)
                open(os.path.join(project, ".git", "HEAD"), "w").write("ref: refs/heads/main\n")
                os.makedirs(os.path.join(project, "src", "components"))


def median_seconds(command, runs):
    """Median wall time and median CPU time (user + system) of `runs` runs."""
    wall, cpu = [], []
    for _ in range(runs):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.perf_counter()
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        wall.append(time.perf_counter() - start)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu.append(after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime)
    return statistics.median(wall), statistics.median(cpu)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", default=os.path.join(ROOT, "build", "bin"))
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--keep", action="store_true", help="keep the generated tree")
    args = parser.parse_args()

    scan = os.path.join(args.bin, "wisp-scan")
    if not os.access(scan, os.X_OK):
        sys.exit(f"{scan} not found: build first (cmake --build build)")

    root = tempfile.mkdtemp(prefix="wisp-scan-bench-")
    try:
        print(f"generating 2,000 projects in {root} ...", flush=True)
        generate(root)
        wisp = [scan, root]
        find = ["find", root, "-maxdepth", "6", "(", "-name", "node_modules", "-o", "-name",
                ".*", ")", "-prune", "-o", "-type", "d", "-print"]
        # Warm the file-system cache for both.
        subprocess.run(wisp, check=True, stdout=subprocess.DEVNULL)
        subprocess.run(find, check=True, stdout=subprocess.DEVNULL)
        wisp_wall, wisp_cpu = median_seconds(wisp, args.runs)
        find_wall, find_cpu = median_seconds(find, args.runs)
        print(f"wisp-scan median: {wisp_wall * 1000:.1f} ms wall, {wisp_cpu * 1000:.1f} ms CPU")
        print(f"find median:      {find_wall * 1000:.1f} ms wall, {find_cpu * 1000:.1f} ms CPU")
        print(f"ratio:            {wisp_wall / find_wall:.2f} wall (goal: at most 1.5), "
              f"{wisp_cpu / find_cpu:.2f} CPU")
        results = os.environ.get("WISP_BENCH_RESULTS")
        if results:
            with open(results, "a") as f:
                f.write(f"project scan of 2,000 projects vs find (ms, median wall)\t"
                        f"{wisp_wall * 1000:.1f}\t{find_wall * 1000:.1f}\t"
                        f"{wisp_wall / find_wall:.2f}\n")
    finally:
        if args.keep:
            print(f"tree kept in {root}")
        else:
            shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    main()
