"""Bad input raises OnfError with the engine's text; log lines reach Python's logging."""

import logging
import os
import sys

import pytest

import brelononf
from conftest import GROUPS, MODEL, RESULTS

READER_TAG = "|%P|BrelonOnfEngine|OnfBlockTextReader"


def _failure(read, path):
    with pytest.raises(brelononf.OnfError) as raised:
        read(path)
    error = raised.value
    assert str(error) == error.message
    return error.message, error.identifier, error.log_tag


def test_bad_input_raises_the_engines_failure(tmp_path):
    truncated = tmp_path / "truncated.onf"
    truncated.write_bytes(MODEL.read_bytes()[:700])
    odd_name = os.fsdecode(bytes(tmp_path) + b"/\xff.onf")
    with open(os.fsencode(odd_name), "wb") as f:
        f.write(MODEL.read_bytes())

    assert _failure(brelononf.read_model, truncated) == (
        "File ended before all lines could be loaded for block with id: 110", "", READER_TAG)
    assert _failure(brelononf.read_results, MODEL) == (
        "A not admissible data block with ID 100 was found.", "161050150211",
        "|%P|BrelonOnfEngine|ONFOPTResultFile")
    missing = tmp_path / "missing.onf"
    assert _failure(brelononf.read_groups, missing) == (
        'Loading of file "%s" failed.\nSystem error message:\nNo such file or directory'
        % missing, "", READER_TAG)
    # The engine takes file names as text: one that is no UTF-8 cannot be opened by it.
    message, _, tag = _failure(brelononf.read_model, odd_name)
    assert message.startswith('Loading of file "%s/\ufffd.onf" failed.' % tmp_path)
    assert tag == READER_TAG


def test_a_file_of_another_kind_is_named_as_onf_names_it():
    message, identifier, _ = _failure(brelononf.read_model, GROUPS)
    assert message == '"%s" is a groups file, not a model input file' % GROUPS
    assert identifier == ""
    assert _failure(brelononf.read_groups, RESULTS)[0].endswith(
        "is an optimisation result file, not a groups file")


@pytest.mark.parametrize("source", [MODEL, GROUPS, RESULTS])
def test_every_cut_of_a_file_reads_or_fails_cleanly(tmp_path, source):
    data = source.read_bytes()
    cut = tmp_path / "cut.onf"
    for end in range(0, len(data), 23):
        cut.write_bytes(data[:end] + b"\x00\xff" * (end % 2))
        try:
            brelononf.read(cut)
        except brelononf.OnfError:
            pass


def test_log_lines_go_to_logging_at_their_levels(tmp_path, write_onf, caplog):
    path = write_onf("   -1\n4711\n0\n   -1\n   -1\n110\n0\n   -1\n")
    with caplog.at_level(5, logger="brelononf"):
        brelononf.read_model(path).write(tmp_path / "written.onf")
    levels = {record.levelno for record in caplog.records}
    warning = [r for r in caplog.records if r.levelno == logging.WARNING][0]
    assert "contains a data-block of type 4711" in warning.getMessage()
    assert warning.onf_tag == READER_TAG
    written = [r for r in caplog.records if r.getMessage().startswith("Writing ONF input file")]
    assert written and written[0].levelno == logging.INFO
    assert logging.WARNING in levels


def test_a_failing_log_handler_does_not_break_a_read(write_onf, monkeypatch):
    unraisable = []
    monkeypatch.setattr(sys, "unraisablehook", unraisable.append)

    class Failing(logging.Handler):
        def emit(self, record):
            raise RuntimeError("handler broken")

    logger = logging.getLogger("brelononf")
    handler = Failing()
    logger.addHandler(handler)
    try:
        model = brelononf.read_model(write_onf("   -1\n4711\n0\n   -1\n   -1\n110\n0\n   -1\n"))
    finally:
        logger.removeHandler(handler)
    assert len(model.node_ids) == 0
    assert [type(u.exc_value) for u in unraisable] == [RuntimeError]
