"""The kind of an ONF file, decided by the engine's rule, which the `onf` command follows too."""

import os

from . import _core

#: The kinds and the words `onf` uses for them.
KIND_NAMES = dict(_core.KIND_NAMES)


def path_bytes(path):
    """A file name as the bytes the file system knows it by (str, bytes or path-like)."""
    return os.fsencode(path)


def file_kind(path):
    """The kind of the ONF file at `path`, one of the keys of KIND_NAMES: blocks of exactly one
    kind decide (a result block always does); blocks of several kinds make a generic file; where
    no block decides, a header comment naming a kind does, else blocks 200 or 210 make a groups
    file and anything else a generic one. Raises OnfError with the reader's text for a file that
    cannot be read or taken apart."""
    return _core.scan(path_bytes(path))["kind"]


def _with_article(name):
    return ("an " if name[0] in "aeiouAEIOU" else "a ") + name


def require_kind(path, wanted):
    """Raises OnfError unless the file at `path` is of kind `wanted` or generic (whose blocks
    the engine then judges)."""
    kind = file_kind(path)
    if kind not in (wanted, "generic"):
        message = '"%s" is %s, not %s' % (
            os.fsdecode(path), _with_article(KIND_NAMES[kind]), _with_article(KIND_NAMES[wanted]))
        error = _core.OnfError(message)
        error.message, error.identifier, error.log_tag, error.nested = message, "", "", None
        raise error
