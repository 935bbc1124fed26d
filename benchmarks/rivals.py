#!/usr/bin/python3
"""rivals.py PROGRAMS ROUTERS: other programs make the same change to the same records. Each one runs alternately with
the library, and its result is verified. PROGRAMS is the directory of the built benchmarks."""
import ctypes
import hashlib
import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import uuid

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), ".."))
ROUNDS = 3
OLD_SIZE = {137: 85, 53: 33}
ONLY_NEW = {"lower_threshold_prio", "upper_threshold_prio", "forwarding_state", "bfd_peer_ip"}


def run(command):
    return subprocess.run(["bash", "-e", "-o", "pipefail", "-c", command], check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout


def records():
    """Returns the key and the value of every record."""
    with open("raw", encoding="ascii") as lines:
        for line in lines:
            record = json.loads(line)
            yield bytes.fromhex(record["store_key"]), bytes.fromhex(record["value"])


class Rival:
    """A program that makes the change. `command` is measured. prepare() creates the records before it; converted()
    returns the number of records in the old layout after it."""
    package = None

    def start(self):
        """Called once, before all other functions."""

    def end(self):
        """Called once, after all other functions."""


class Library(Rival):
    name = "the library, as the system manager calls it"
    program = "convert_once"
    command = "convert_once at ."
    durability = "one synced transaction"

    def prepare(self):
        for directory in ("d", "tmp"):
            os.makedirs(directory, exist_ok=True)
        shutil.copy("original", "d/vrrp-cfg_runtime_config")

    def converted(self):
        counts = json.loads(run("vrrpconvert check --json d/vrrp-cfg_runtime_config || true"))["counts"]
        return counts["vr"]["old"] + counts["ip_assoc"]["old"]


class Datum(ctypes.Structure):
    """pss_datum_t"""
    _fields_ = [("ptr", ctypes.c_char_p), ("siz", ctypes.c_uint32)]


class LmdbPlatform(Rival):
    name = "the library over the example platform lmdb_pss.c"
    program = "cc"
    package = "liblmdb-dev"
    command = "LD_PRELOAD=./lmdb_pss.so convert_once at ."
    durability = "a new file with one checksum, synced, renamed; no record has a checksum of its own"

    def start(self):
        compile_it = (f"cc -O2 -I{ROOT} -I{ROOT}/infra/convert_libs/comps/libvrrpconvert "
                      f"{ROOT}/examples/platform/lmdb_pss.c")
        run(f"{compile_it} -fPIC -shared -o lmdb_pss.so -llmdb; {compile_it} -DCREATE -o lmdb_create -llmdb")
        os.environ["LMDB_PSS_ROOT"] = "."
        run("./lmdb_create nonvolatile:/original-lmdb")
        self.platform = ctypes.CDLL("./lmdb_pss.so")
        for move in (self.platform.pss_move2location, self.platform.pss_getvalue):
            move.restype = ctypes.POINTER(Datum)
        self.open("original-lmdb")
        for key, value in records():
            arguments = (ctypes.byref(Datum(text, len(text))) for text in (key, value))
            assert self.platform.pss_store(self.table, 1, *arguments) == 0
        assert self.platform.pss_close(self.table) == 0

    def open(self, name):
        self.status = ctypes.c_uint32()
        self.table = self.platform.pss_open(f"nonvolatile:/{name}".encode(), ctypes.byref(self.status))
        assert self.status.value == 0

    def prepare(self):
        shutil.copy("original-lmdb", "d/vrrp-cfg_runtime_config")

    def converted(self):
        self.open("d/vrrp-cfg_runtime_config")
        count, status = 0, ctypes.byref(self.status)
        found = self.platform.pss_move2location(self.table, 1, status)
        while found:
            count += self.platform.pss_getvalue(self.table, status).contents.siz in OLD_SIZE.values()
            found = self.platform.pss_move2location(self.table, 3, status)
        self.platform.pss_close(self.table)
        return count


class Tool(Library):
    name = "vrrpconvert"
    program = "vrrpconvert"
    command = "vrrpconvert convert d --root . --from '4.2(1)' --to '4.1(2)' --allow-loss --no-backup"
    durability = "one synced transaction, run dry on a copy before, every record looked at afterwards"


class Shell(Rival):
    name = "sqlite3 shell"
    program = package = "sqlite3"
    command = ('sqlite3 table "UPDATE kv SET value = substr(value, 1, CASE length(value) WHEN 137 THEN 85 ELSE 33 END)'
               ' WHERE length(value) IN (137, 53)"')
    durability = "one synced transaction; no row is checked"

    def prepare(self):
        shutil.copy("original-table", "table")

    def converted(self):
        return int(run("sqlite3 table 'SELECT count(*) FROM kv WHERE length(value) IN (85, 33)'"))


class Ovsdb(Rival):
    """One table per kind and one column per field; the old schema lacks the columns of the new layout."""
    name = "ovsdb-tool"
    program = "ovsdb-tool"
    package = "openvswitch-common"
    command = "ovsdb-tool convert ovsdb old.ovsschema"
    durability = "a new file, synced, renamed over the old one"

    def start(self):
        rows, numbers = {}, random.Random(1)
        with open("lines", encoding="ascii") as lines:
            for line in lines:
                fields = {name: "" if value is None else value for name, value in json.loads(line).items()}
                del fields["layout"]
                key = str(uuid.UUID(int=numbers.getrandbits(128), version=4))
                rows.setdefault(fields.pop("kind"), {})[key] = fields
        columns = {kind: next(iter(table.values())) for kind, table in rows.items()}
        with open("original-ovsdb", "wb") as database:
            self.write_entry(database, self.schema(columns, set(), "2.0.0"))
            self.write_entry(database, {**rows, "_date": 0})
        with open("old.ovsschema", "w", encoding="ascii") as old_schema:
            json.dump(self.schema(columns, ONLY_NEW, "1.0.0"), old_schema)

    @staticmethod
    def schema(columns, left_out, version):
        types = {bool: "boolean", int: "integer", str: "string"}
        tables = {kind: {"columns": {name: {"type": types[type(value)]} for name, value in fields.items()
                                     if name not in left_out}} for kind, fields in columns.items()}
        return {"name": "vrrp", "version": version, "tables": tables}

    @staticmethod
    def write_entry(database, entry):
        text = (json.dumps(entry, separators=(",", ":")) + "\n").encode()
        database.write(b"OVSDB JSON %d %s\n" % (len(text), hashlib.sha1(text).hexdigest().encode()) + text)

    def prepare(self):
        shutil.copy("original-ovsdb", "ovsdb")

    def converted(self):
        if b"1.0.0" not in run("ovsdb-tool db-version ovsdb"):
            return 0
        with open("ovsdb", "rb") as database:
            lines = database.read().splitlines()
        return sum(len(table) for name, table in json.loads(lines[3]).items() if not name.startswith("_"))


class Lmdb(Rival):
    name = "dump, awk, load on LMDB"
    program = "mdb_load"
    package = "lmdb-utils"
    command = "mdb_dump -n lmdb | awk -f cut.awk | mdb_load -n new && sync new && mv new lmdb && sync ."
    durability = "a new file, synced every 100 records, renamed over the old one; nothing stops a writer in between"

    def start(self):
        with open("lmdb-dump", "w", encoding="ascii") as dump:
            dump.write("VERSION=3\nformat=bytevalue\ntype=btree\nmapsize=4294967296\nHEADER=END\n")
            for key, value in records():
                dump.write(f" {key.hex()}\n {value.hex()}\n")
            dump.write("DATA=END\n")
        with open("cut.awk", "w", encoding="ascii") as program:  # every second line is a value, in hexadecimal digits
            cuts = "".join(f"length == {1 + 2 * new} {{ $0 = substr($0, 1, {1 + 2 * old}) }} "
                           for new, old in OLD_SIZE.items())
            program.write(cuts + "1\n")

    def prepare(self):
        run("rm -f lmdb lmdb-lock new new-lock; mdb_load -n lmdb <lmdb-dump")

    def converted(self):
        return int(run("mdb_dump -n lmdb | awk 'length == 171 || length == 67 { n++ } END { print n }'"))


class Redis(Rival):
    name = "Redis, key by key from Python"
    program = "redis-server"
    package = "redis-server python3-redis"
    command = "rivals.py redis"
    durability = "a synced file at the end; before it nothing, and other clients see what is half done"

    def start(self):
        self.server = subprocess.Popen(["redis-server", "--port", "0", "--unixsocket", "socket", "--save", ""],
                                       stdout=subprocess.DEVNULL)

    def end(self):
        self.server.terminate()
        self.server.wait()

    @staticmethod
    def connect():
        import redis  # pylint: disable=import-outside-toplevel
        return redis.Redis(unix_socket_path="socket", retry=redis.retry.Retry(redis.backoff.ConstantBackoff(0.1), 50),
                           retry_on_error=[redis.ConnectionError])

    def prepare(self):
        server = self.connect()
        server.flushall()
        with server.pipeline(transaction=False) as pipeline:
            for key, value in records():
                pipeline.set(key, value)
            pipeline.execute()
        server.save()

    @classmethod
    def convert(cls):
        server = cls.connect()
        for key in server.scan_iter(count=1000):
            value = server.get(key)
            if len(value) in OLD_SIZE:
                server.set(key, value[:OLD_SIZE[len(value)]])
        server.save()

    @classmethod
    def convert_pipelined(cls):
        server = cls.connect()
        cursor = None
        while cursor != 0:
            cursor, keys = server.scan(cursor or 0, count=1000)
            with server.pipeline(transaction=False) as pipeline:
                for key, value in zip(keys, server.mget(keys)):
                    if len(value) in OLD_SIZE:
                        pipeline.set(key, value[:OLD_SIZE[len(value)]])
                pipeline.execute()
        server.save()

    def converted(self):
        server = self.connect()
        return sum(server.strlen(key) in OLD_SIZE.values() for key in server.scan_iter(count=1000))


class RedisPipelined(Redis):
    name = "Redis, a thousand keys at a time from Python"
    command = "rivals.py redis-pipelined"

    def start(self):
        """Uses the server of the other benchmark."""

    def end(self):
        """The other benchmark stops the server."""


def measure(rival, routers):
    rival.prepare()
    os.sync()
    start = time.monotonic()
    run(rival.command)
    seconds = time.monotonic() - start
    if rival.converted() != 2 * routers:
        raise SystemExit(f"{rival.name}: {rival.converted()} records converted; expected {2 * routers}")
    return seconds


def compare(routers):
    run(f"convert_once make {routers} original")
    run("vrrpconvert export original >lines; vrrpconvert export --raw original >raw")
    present = []
    for rival in (Library(), LmdbPlatform(), Tool(), Shell(), Ovsdb(), Lmdb(), Redis(), RedisPipelined()):
        if shutil.which(rival.program) is None:
            print(f"{rival.name}: skipped, {rival.program} is not installed (Debian: {rival.package})")
            continue
        rival.start()
        present.append(rival)
    try:
        rounds = [[measure(rival, routers) for rival in present] for _ in range(ROUNDS)]
    finally:
        for rival in present:
            rival.end()
    for index, rival in enumerate(present):
        ratio = statistics.median(seconds[index] / seconds[0] for seconds in rounds)
        print(f"{ratio:6.1f} x  {rival.name}\n          $ {rival.command}\n          {rival.durability}")


if sys.argv[1] == "redis":
    Redis.convert()
elif sys.argv[1] == "redis-pipelined":
    Redis.convert_pipelined()
else:
    directories = (sys.argv[1], sys.argv[1] + "/../tool", os.path.dirname(__file__))
    os.environ["PATH"] = ":".join([os.path.realpath(directory) for directory in directories] + [os.environ["PATH"]])
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        compare(int(sys.argv[2]))
