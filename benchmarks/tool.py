#!/usr/bin/python3
"""tool.py PROGRAMS ROUTERS: time and peak memory of the tool's commands, relative to .import and .dump of the sqlite3
shell, and CPU time of a conversion, relative to the library alone. The programs run alternately. PROGRAMS is the
directory of the built benchmarks."""
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 3
IMPORT = ["sqlite3", "theirs", ".read schema", ".mode csv", ".import rows rows"]
DUMP, DUMP_SAME, DUMP_OLD = (["sqlite3", store, ".dump"] for store in ("store", "same", "old"))
# Name, command, and command of the shell. diff reads two stores, so it is compared with two dumps.
COMMANDS = [
    ("import", ["vrrpconvert", "import", "ours", "lines"], [IMPORT]),
    ("import of raw lines", ["vrrpconvert", "import", "ours", "raw"], [IMPORT]),
    ("export", ["vrrpconvert", "export", "store"], [DUMP]),
    ("export --raw", ["vrrpconvert", "export", "--raw", "store"], [DUMP]),
    ("show", ["vrrpconvert", "show", "store"], [DUMP]),
    ("show --json", ["vrrpconvert", "show", "--json", "store"], [DUMP]),
    ("check", ["vrrpconvert", "check", "store"], [DUMP]),
    ("diff, no difference", ["vrrpconvert", "diff", "store", "same"], [DUMP, DUMP_SAME]),
    ("diff, every record", ["vrrpconvert", "diff", "store", "old"], [DUMP, DUMP_OLD]),
]


def measure(command):
    """Runs the command with its output in a file. Returns seconds and peak memory in MiB."""
    for made in ("ours", "theirs"):
        if os.path.exists(made):
            os.remove(made)
    os.sync()
    with open("output", "wb") as output:
        start = time.monotonic()
        with subprocess.Popen(command, stdout=output) as process:
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        seconds = time.monotonic() - start
    if process.returncode != (1 if command[-1] == "old" else 0):
        raise SystemExit(f"{command}: exit code {process.returncode}")
    if "import" in command:
        subprocess.run(["vrrpconvert", "diff", "ours", "store"], check=True, stdout=subprocess.DEVNULL)
    if command == IMPORT:
        both = [subprocess.check_output(["sqlite3", file, f"SELECT count(*) FROM {table}"])
                for file, table in (("theirs", "rows"), ("store", "record"))]
        if both[0] != both[1]:
            raise SystemExit(f"{command}: {both[0]} rows of {both[1]}")
    return seconds, usage.ru_maxrss / 1024


def prepare(routers):
    script = f"""
      convert_once make {routers} store
      vrrpconvert export store >lines
      vrrpconvert export --raw store >raw
      sqlite3 -separator , store 'SELECT hex(key), hex(value) FROM record' >rows
      echo 'CREATE TABLE rows(key TEXT PRIMARY KEY, value TEXT) WITHOUT ROWID;' >schema
      cp store same
      mkdir -p d tmp
      cp store d/vrrp-cfg_runtime_config
      convert_once at .
      mv d/vrrp-cfg_runtime_config old
    """
    subprocess.run(["bash", "-ec", script], check=True)


def compare(routers):
    prepare(routers)
    for name, command, theirs in COMMANDS:
        ratios, peaks = [], []
        for _ in range(ROUNDS):
            seconds, peak = measure(command)
            ratios.append(seconds / sum(measure(other)[0] for other in theirs))
            peaks.append(peak)
        print(f"{statistics.median(ratios):6.1f} x  {max(peaks):5.1f} MiB  {name}", flush=True)


def processor_seconds(command, store):
    """Returns the CPU time of a conversion of `store`, child processes included."""
    for directory in ("d", "tmp"):
        for name in os.listdir(directory):
            os.remove(os.path.join(directory, name))
    shutil.copy(store, "d/vrrp-cfg_runtime_config")
    os.sync()
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as process:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"{command}: exit status {process.returncode}")
    return usage.ru_utime + usage.ru_stime


def compare_conversions():
    for name, store, direction, releases in (("downgrade", "store", [], ["--from", "4.2(1)", "--to", "4.1(2)"]),
                                             ("upgrade", "old", ["up"], ["--from", "4.1(2)", "--to", "4.2(1)"])):
        command = ["vrrpconvert", "convert", "d", "--root", ".", "--allow-loss", *releases]
        ratios = [processor_seconds(command, store) / processor_seconds(["convert_once", "at", ".", *direction], store)
                  for _ in range(ROUNDS)]
        print(f"{statistics.median(ratios):6.1f} x the library's CPU time  {name}", flush=True)


directories = (sys.argv[1], sys.argv[1] + "/../tool")
os.environ["PATH"] = ":".join([os.path.realpath(directory) for directory in directories] + [os.environ["PATH"]])
with tempfile.TemporaryDirectory() as scratch:
    os.chdir(scratch)
    compare(int(sys.argv[2]))
    compare_conversions()
