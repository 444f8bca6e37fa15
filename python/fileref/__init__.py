"""Remote files as records, over the system's own ssh.

    import fileref

    with fileref.open("sftp://srv/data/in.csv") as lines:        # also "rb", "w", "wb"
        for line in lines: ...
    for record in fileref.records("sftp://srv/fixed.dat", recfm="F", lrecl=80): ...
    fileref.listdir("sftp://srv/data/"), fileref.stat("sftp://srv/data/in.csv").size

Whatever stands in your ssh configuration counts: keys, agents, jump hosts, known hosts. With fsspec
installed, "fileref://srv/data/in.csv" is a URL for pandas, Dask and the like; see
fileref.filesystem.
"""

from ._fileref import __version__
from .errors import (
    Failure,
    FilerefWarning,
    NotADirectory,
    NotAllowed,
    NotConnected,
    NotFound,
    OptionError,
    TimedOut,
    UsageError,
)
from .copying import copy
from .listing import Entry, FileStatus, exists, listdir, scandir, stat
from .opening import Records, open, records
from .sessions import close_idle
from .target import Target

__all__ = [
    "Entry", "Failure", "FilerefWarning", "FileStatus", "NotADirectory", "NotAllowed", "NotConnected",
    "NotFound", "OptionError", "Records", "Target", "TimedOut", "UsageError", "__version__", "close_idle",
    "copy", "exists", "listdir", "open", "records", "scandir", "stat",
]  # fmt: skip
