"""Copying files as they are."""

from __future__ import annotations

from typing import Any, Callable, Sequence

from . import _fileref, sessions
from .opening import words_of


def copy(
    sources: str | Sequence[str],
    target: str,
    *,
    literal: bool = False,
    failed: Callable[[str, OSError], None] | None = None,
    options: Sequence[str] | str = (),
    **host: Any,
) -> int:
    """Copies files, bytes as they are, between servers and this machine; returns how many.

        fileref.copy("sftp://srv/data/*.csv", "in/")
        fileref.copy(["a.csv", "b.csv"], "sftp://srv/data/")

    Each place is a target, or else a path of this machine, and that is never a pattern. `target` is
    the directory to copy into, or with one source also a file. A file here takes the place of the
    old one when it is whole, one on a server with `atomic`. With `failed` that function is told of
    each file that could not be copied, and the others are copied all the same.
    """
    places = [sources] if isinstance(sources, str) else list(sources)
    return _fileref.copy(
        places, target, literal, failed, words_of(options), sessions.host_options(host)
    )
