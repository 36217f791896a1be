#!/usr/bin/env python3
"""Runs sequences of calls: run.py CALLERS [EMULATOR]. Each is a process with a directory of its own.

TERVALON_CALLERS_SEQUENCES   how many random sequences (10, with an emulator 6)
TERVALON_CALLERS_SEED        the first one's seed; by default another one each day
A sequence that fails is taken again with fewer and fewer steps, and what is left is printed.
"""
import concurrent.futures
import datetime
import os
import pathlib
import subprocess
import sys
import tempfile
import time

program = [os.path.abspath(sys.argv[1])]
command = [*sys.argv[2:], *program]
emulated = len(sys.argv) > 2
sequences = int(os.environ.get("TERVALON_CALLERS_SEQUENCES", 6 if emulated else 10))
seed = int(os.environ.get("TERVALON_CALLERS_SEED", datetime.date.today().toordinal()))
steps = 500
environment = dict(
    os.environ,
    ASAN_OPTIONS="detect_leaks=0:allocator_may_return_null=1:max_allocation_size_mb=2048",
    UBSAN_OPTIONS="print_stacktrace=1",
)


def run(*arguments):
    """The output of a sequence that failed, None of one that did not."""
    with tempfile.TemporaryDirectory() as directory:
        # Two folders down, should a call erase "..".
        work = pathlib.Path(directory, "a", "work")
        work.mkdir(parents=True)
        try:
            done = subprocess.run([*command, *map(str, arguments)], cwd=work, env=environment,
                                  capture_output=True, timeout=300)
        except subprocess.TimeoutExpired as expired:
            return (expired.stdout or b"").decode("latin-1") + "\nPROBLEM: takes too long"
        if done.returncode == 0:
            return None
        return (done.stdout + done.stderr).decode("latin-1") + f"\nstatus {done.returncode}"


def shrink(seed, output):
    """The steps that it takes, and what they print."""
    left = [line.split()[0] for line in output.splitlines() if line.split()[:1] and line.split()[0].isdigit()]
    size = max(1, len(left) // 2)
    end = time.monotonic() + 60
    while size > 0 and len(left) > 1:
        at = 0
        while at < len(left) and time.monotonic() < end:
            fewer = left[:at] + left[at + size:]
            shorter = run(seed, 0, *fewer) if fewer else None
            if shorter is not None:
                left, output = fewer, shorter
            else:
                at += size
        size //= 2
    return left, output


failed = False
nulls = run("nulls")
if nulls is not None:
    failed = True
    print("Each argument wrong in turn:")
    lines = nulls.splitlines()
    print("\n".join([line for line in lines if "PROBLEM" in line] + lines[-40:]))
seeds = range(seed * 1000, seed * 1000 + sequences)
with concurrent.futures.ThreadPoolExecutor(2) as pool:
    for number, output in zip(seeds, pool.map(lambda s: run(s, steps), seeds)):
        if output is None:
            continue
        left, output = shrink(number, output)
        print(f"\n{' '.join(command)} {number} 0 {' '.join(left)}")
        print("\n".join(output.splitlines()[-60:]))
        failed = True
        break
print(f"{sequences} sequences of {steps} calls from seed {seeds.start} on")
sys.exit(failed)
