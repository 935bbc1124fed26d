#!/usr/bin/python3
"""fleet.py TOOL: time per device of vrrpconvert fleet for 500 and 2,000 devices with 100 records each, relative to the
same dry runs by xargs, and its peak memory."""
import os
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

TOOL = os.path.realpath(sys.argv[1])
STORE = "vrrp-cfg_runtime_config"
OPTIONS = "--from '4.2(1)' --to '4.1(2)'"
BY_XARGS = ("find {} -name " + STORE + " -printf '%h\\0' | xargs -0 -P 2 -I DIR sh -c '\"$0\" convert DIR --root DIR " +
            OPTIONS.replace("'", '"') + " --dry-run --summary --json >/dev/null; true' " + TOOL)


def seconds(command):
    start = time.perf_counter()
    subprocess.run(command, shell=True, check=False, stdout=subprocess.DEVNULL)
    return time.perf_counter() - start


def make_devices(count):
    with open("lines", "w", encoding="ascii") as lines:
        for record in range(100):
            lines.write('{"store_key":"05%08x","value":"%0200d"}\n' % (record, record))
    subprocess.run([TOOL, "import", "--force", STORE, "lines"], check=True, stdout=subprocess.DEVNULL)
    for device in range(count):
        os.makedirs(f"{count}/{device}")
        shutil.copy(STORE, f"{count}/{device}")


def main():
    each = {}
    for count in (500, 2000):
        make_devices(count)
        times = [(seconds(f"{TOOL} fleet {count} {OPTIONS} --jobs 2"), seconds(BY_XARGS.format(count)))
            for _ in range(3)]
        each[count] = statistics.median(fleet for fleet, _ in times) / count
        ratio = statistics.median(fleet / xargs for fleet, xargs in times)
        print(f"{count} devices: {ratio:.2f} times as long as dry runs by xargs")
    print(f"a device of 2,000 takes {each[2000] / each[500]:.2f} times as long as one of 500")
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(f"largest process: {usage.ru_maxrss / 1024:.1f} MiB")


with tempfile.TemporaryDirectory() as directory:
    os.chdir(directory)
    main()
