#!/usr/bin/env python3
"""Fails when one of the given programs exports the run-time state of an inline template.

A program's exported copy of such a static takes the place of the copy in every library that
shares it, so a library built by another compiler (Debian's GCC-built QCoro under a Clang build)
works on a copy whose initialisation its own compiler did not lay out. wisp's programs are built
with hidden visibility so that they export none; what stays exported comes from the standard
library's own headers and from Qt's exported classes (type information, the allocation
functions, the sanitizer runtime), which is constant or not C++.

    check_exported_symbols.py PROGRAM...
"""
import subprocess
import sys


def exported(program):
    listing = subprocess.run(["readelf", "--dyn-syms", "--wide", program], check=True,
                             capture_output=True, text=True).stdout
    for line in listing.splitlines():
        fields = line.split()
        # Num: Value Size Type Bind Vis Ndx Name
        if len(fields) < 8 or not fields[0].endswith(":") or fields[6] == "UND":
            continue
        yield fields[3], fields[7].split("@")[0]


def run_time_state(kind, name):
    if not name.startswith("_Z"):
        return False
    # Guard variables and function-local statics are initialised when first reached.
    if name.startswith(("_ZGV", "_ZZ")):
        return True
    # Vtables, type information and its names are constant.
    return kind in ("OBJECT", "TLS") and not name.startswith(("_ZTV", "_ZTI", "_ZTS", "_ZTT"))


def demangled(names):
    lines = subprocess.run(["c++filt"], input="\n".join(names), capture_output=True, text=True,
                           check=True).stdout.splitlines()
    return dict(zip(names, lines))


def standard_library(readable):
    # libstdc++'s headers give everything in std default visibility, whatever the build asks
    # for; its statics are constant tables, the same from every compiler.
    return readable.removeprefix("guard variable for ").startswith("std::")


def main(programs):
    if not programs:
        print("usage: check_exported_symbols.py PROGRAM...", file=sys.stderr)
        return 2
    failed = False
    for program in programs:
        candidates = sorted({name for kind, name in exported(program)
                             if run_time_state(kind, name)})
        readable = demangled(candidates) if candidates else {}
        found = sorted(text for text in readable.values() if not standard_library(text))
        if found:
            failed = True
            print(f"{program} exports {len(found)} statics of inline code:")
            for text in found:
                print(f"  {text}")
        else:
            print(f"{program}: no statics of inline code exported")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
