"""The kind of an ONF file, decided by the same rule as the `onf` command's."""

import os

from . import _core

#: The kinds and the words `onf` uses for them.
KIND_NAMES = {
    "model": "model input file",
    "groups": "groups file",
    "init": "init file",
    "modification": "modification file",
    "temporary": "temporary file",
    "requests": "result request file",
    "result": "optimisation result file",
    "generic": "ONF file",
}

# Header texts in the order in which a comment line is matched against them.
_HEADER_KINDS = ("model", "groups", "init", "modification", "result")
_BLANKS = " \t\n\v\f\r"


def _kind_of_block(number):
    """The kind that a block number decides, None for one that decides nothing."""
    if 700 <= number <= 740:
        return "result"
    if 100 <= number <= 181 or number == 1200:
        return "model"
    if number == 97:
        return "init"
    if 800 <= number <= 890:
        return "modification"
    if 900 <= number <= 950:
        return "temporary"
    if 400 <= number <= 440 or number == 10030:
        return "requests"
    return None


def _kind_from_header(lines):
    for line in lines:
        text = line.lstrip(_BLANKS + "#").rstrip(_BLANKS)
        for kind in _HEADER_KINDS:
            if text == _core.KIND_HEADERS[kind]:
                return kind
    return None


def detect_kind(numbers, header_lines):
    """The kind of a file with blocks `numbers` and the comment lines `header_lines` ahead of
    its first block: blocks of exactly one kind decide (a result block always does); blocks of
    several kinds make a generic file; where no block decides, a header comment naming a kind
    does, else blocks 200 or 210 make a groups file and anything else a generic one."""
    votes = set()
    for number in numbers:
        kind = _kind_of_block(number)
        if kind == "result":
            return kind
        if kind is not None:
            votes.add(kind)
    if len(votes) == 1:
        return votes.pop()
    if votes:
        return "generic"
    kind = _kind_from_header(header_lines)
    if kind is not None:
        return kind
    return "groups" if any(n in (200, 210) for n in numbers) else "generic"


def path_bytes(path):
    """A file name as the bytes the file system knows it by (str, bytes or path-like)."""
    return os.fsencode(path)


def file_kind(path):
    """The kind of the ONF file at `path`, one of the keys of KIND_NAMES. Raises OnfError
    with the reader's text for a file that cannot be read or taken apart."""
    outline = _core.scan(path_bytes(path))
    return detect_kind([b["number"] for b in outline["blocks"]], outline["header"])


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
