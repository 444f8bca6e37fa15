"""Counts the lines of many remote files on a cluster of two worker processes with two threads each.

    python3 dask_count.py 'fileref://user@srv/~/logs/*.txt' ["OPTIONS='-i key'"]

With --kill the first worker is killed at work, and its part is done again by the other.
"""

import argparse
import os
import signal

import fsspec
from distributed import Client, LocalCluster, as_completed


def count_lines(url, storage_options):
    with fsspec.open(url, "rb", **storage_options) as lines:
        return sum(1 for _ in lines)


def count(pattern, storage_options, kills=False):
    """How many files match, and how many lines they have."""
    fs, path = fsspec.core.url_to_fs(pattern, **storage_options)
    urls = [fs.unstrip_protocol(each) for each in fs.glob(path)]
    with LocalCluster(
        n_workers=2, threads_per_worker=2, host="127.0.0.1", dashboard_address=None
    ) as cluster, Client(cluster) as client:
        counts = client.map(count_lines, urls, storage_options=storage_options, retries=3)
        total = 0
        for number, done in enumerate(as_completed(counts, with_results=True)):
            total += done[1]
            if kills and number == len(urls) // 4:
                os.kill(next(iter(client.run(os.getpid).values())), signal.SIGKILL)
    return len(urls), total


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("pattern")
    parser.add_argument("options", nargs="?", default="")
    parser.add_argument("--kill", action="store_true")
    arguments = parser.parse_args()
    storage_options = {"options": arguments.options} if arguments.options else {}
    files, lines = count(arguments.pattern, storage_options, arguments.kill)
    print(f"{lines} lines in {files} files")


if __name__ == "__main__":
    main()
