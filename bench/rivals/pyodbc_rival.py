"""Measures pyodbc: pyodbc_rival.py MODULE CONNECTION-STRING ROWS SECONDS

MODULE holds the same work as bare ODBC calls. The halves of a pair run in turn in this process, each
on a connection of its own; what is compared is the thread's processor time. A line for each task:
name, task, quartiles of the ratios, nanoseconds a unit, those of the bare calls.
"""
import ctypes
import statistics
import sys
import time

import pyodbc

SLICE, QUERIES, INSERTS, STRIDE = 5000, 200, 500, 7919
COLUMNS = "id, name, city, ordered, amount, note"

module, connection_string, rows, seconds = sys.argv[1], sys.argv[2], int(sys.argv[3]), float(sys.argv[4])
bare = ctypes.CDLL(module).RunBare
bare.restype = ctypes.c_double
bare.argtypes = [ctypes.c_char_p, ctypes.c_long, ctypes.c_char_p]
connection = pyodbc.connect(connection_string, autocommit=True)
cursor = connection.cursor()


def fetch_rows(turn):
    first = turn % (rows // SLICE) * SLICE + 1
    sql = f"SELECT {COLUMNS} FROM bench_rows WHERE id BETWEEN {first} AND {first + SLICE - 1}"
    start = time.thread_time_ns()
    cursor.execute(sql)
    while cursor.fetchmany(100):
        pass
    return time.thread_time_ns() - start


def keys(turn):
    return [query * STRIDE % rows + 1 for query in range(turn * QUERIES, (turn + 1) * QUERIES)]


def by_key(turn):
    sql = f"SELECT {COLUMNS} FROM bench_rows WHERE id = ?"
    wanted = keys(turn)
    start = time.thread_time_ns()
    for key in wanted:
        cursor.execute(sql, key)  # the statement of the last call is kept prepared
        cursor.fetchall()
    return time.thread_time_ns() - start


def by_new_statement(turn):
    queries = [f"SELECT {COLUMNS} FROM bench_rows WHERE id BETWEEN {key} AND {key}" for key in keys(turn)]
    start = time.thread_time_ns()
    for query in queries:
        own = connection.cursor()
        own.execute(query)
        own.fetchall()
        own.close()
    return time.thread_time_ns() - start


def insert(_):
    connection.autocommit = False
    start = time.thread_time_ns()
    for number in range(1000, 1000 + INSERTS):
        cursor.execute("INSERT INTO bench_inserts VALUES (?, ?, ?, ?)",
                       number, "Springfield, north", "a text of usual length", 1234.5)
    used = time.thread_time_ns() - start
    connection.rollback()
    connection.autocommit = True
    return used


def measure(task, units, work):
    pairs = []
    end = time.monotonic() + seconds
    turn = 0
    while len(pairs) < 15 or time.monotonic() < end:
        def run_bare():
            return bare(connection_string.encode(), rows, task.encode())
        if turn % 2:
            base = run_bare()
            own = work(turn)
        else:
            own = work(turn)
            base = run_bare()
        if base < 0:
            sys.exit(1)
        if turn:  # the first pair warms up
            pairs.append((own, base))
        turn += 1
    low, median, high = statistics.quantiles([own / base for own, base in pairs], n=4)
    own_time = statistics.median(own for own, _ in pairs) / units
    base_time = statistics.median(base for _, base in pairs) / units
    print(f"pyodbc {pyodbc.version}", task, f"{low:.4f} {median:.4f} {high:.4f} {own_time:.1f} {base_time:.1f}", sep="\t")


measure("FetchRows 100, with execute", SLICE, fetch_rows)
measure("query by key, prepared once", QUERIES, by_key)
measure("query by key, one statement each", QUERIES, by_new_statement)
measure("inserts, 4 parameters", INSERTS, insert)
