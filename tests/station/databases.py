"""Databases for tests, and run files to put into them."""
import os
import shutil
import sqlite3
import subprocess
from contextlib import contextmanager
from pathlib import Path

SERVER = Path("/usr/lib/postgresql/15/bin")


def write(file, output, error="", **values):
    """Writes a run file; the values of its header have underscores in their names."""
    header = {"unit": "QS1", "serial_number_verified": "yes", "product": "P", "station": "A", "operator": "O",
              "command": "x", "start": "2026-11-22T10:41:28.000", "seconds": "0.1", "status": "0", **values}
    header["start"] += "+00:00"
    lines = [f"{name.replace('_', '-')}: {value}\n" for name, value in header.items() if value is not None]
    text = f"sonarbench-run: 1\n{''.join(lines)}output-bytes: {len(output)}\n{error}\n"
    file.write_bytes(os.fsencode(text) + output)


class File:
    """An SQLite file."""
    def __init__(self, place):
        self.url = str(place / "results.db")

    def rows(self, table, order="1, 2, 3, 4"):
        with sqlite3.connect(self.url) as connection:
            width = len(connection.execute(f"SELECT * FROM {table} LIMIT 1").description)
            columns = ", ".join(order.split(", ")[:width])
            return connection.execute(f"SELECT * FROM {table} ORDER BY {columns}").fetchall()

    def execute(self, statement):
        with sqlite3.connect(self.url) as connection:
            connection.executescript(statement)

    def ask(self, query):
        with sqlite3.connect(self.url) as connection:
            return connection.execute(query).fetchall()

    def schema(self):
        return [row[:3] + row[4:] for row in self.rows("sqlite_master", "1, 2, 3")]

    def clear(self):
        for file in Path(self.url).parent.glob("results.db*"):
            file.unlink(missing_ok=True)


class Server:
    """A PostgreSQL server on a socket."""
    def __init__(self, place):
        self.place = place
        self.url = f"postgresql:///postgres?host={place}"
        self.prefix = []
        if os.geteuid() == 0:
            shutil.chown(place, "postgres", "postgres")
            self.prefix = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"]
            self.url = f"postgresql://postgres@/postgres?host={place}"
        self.control("initdb", "--no-sync", "-A", "trust", "-D", str(place / "data"))
        self.start()

    def control(self, program, *arguments):
        subprocess.run([*self.prefix, SERVER / program, *arguments], check=True, cwd="/", stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def start(self):
        self.control("pg_ctl", "-D", str(self.place / "data"), "-w", "-o",
                     f"-k {self.place} -c listen_addresses='' -c fsync=off", "-l", str(self.place / "log"), "start")

    def stop(self, how="fast"):
        self.control("pg_ctl", "-D", str(self.place / "data"), "-w", "-m", how, "stop")

    def execute(self, statement):
        return subprocess.run([SERVER / "psql", "-h", self.place, *(["-U", "postgres"] if self.prefix else []), "-qAtc",
                               statement, "postgres"], check=True, capture_output=True, text=True).stdout

    ask = execute

    def rows(self, table):
        return sorted(self.execute(f"SELECT * FROM {table}").splitlines())

    def schema(self):
        indexes = self.execute("SELECT indexname, indexdef FROM pg_indexes WHERE schemaname = 'public'")
        return sorted(indexes.splitlines())

    def clear(self):
        self.execute("DROP SCHEMA public CASCADE; CREATE SCHEMA public")


@contextmanager
def databases(place):
    (place / "server").mkdir()
    server = Server(place / "server")
    try:
        yield [File(place), server]
    finally:
        server.stop("immediate")
