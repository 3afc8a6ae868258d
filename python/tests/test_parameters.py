import math

import pytest

import pellucid


@pytest.mark.parametrize("name, value, expected, kind", [
    ("FG_WIDTH", 640, 640, int),
    ("FG_FORMAT", "FG_COL48", 6, pellucid.Entry),
    ("FG_FORMAT", "Color 48bit", 6, pellucid.Entry),
    ("FG_FORMAT", 6, 6, pellucid.Entry),
    ("FG_PROCESSING_GAIN", 1.5, 1.5, float),
    ("FG_PROCESSING_GAIN", 2, 2.0, float),
    ("FG_LUT_CUSTOM_FILE", "a.lut", "a.lut", str),
])
def test_values_read_back_as_written(board, name, value, expected, kind):
    board[name] = value
    assert board[name] == expected and type(board[name]) is kind
    if kind is pellucid.Entry:
        assert (board[name].symbol, board[name].display) == ("FG_COL48", "Color 48bit")


@pytest.mark.parametrize("name, value, error, code", [
    ("FG_WIDTH", 2.7, TypeError, None),
    ("FG_WIDTH", 640.0, TypeError, None),
    ("FG_WIDTH", "640", TypeError, None),
    ("FG_FORMAT", 2.0, TypeError, None),
    ("FG_PROCESSING_GAIN", "1", TypeError, None),
    ("FG_LUT_CUSTOM_FILE", 3, TypeError, None),
    ("FG_WIDTH", 16400, pellucid.InvalidValue, -6000),
    ("FG_WIDTH", 17, pellucid.InvalidValue, -7080),
    ("FG_WIDTH", -16, pellucid.InvalidValue, -6000),
    ("FG_WIDTH", 2**40, pellucid.InvalidValue, -6000),
    ("FG_FORMAT", "FG_COL36", pellucid.InvalidValue, -6000),
    ("FG_FORMAT", 3, pellucid.InvalidValue, -6000),
    ("FG_PROCESSING_GAIN", math.nan, pellucid.InvalidValue, -6000),
    ("FG_PROCESSING_GAIN", 1e9, pellucid.InvalidValue, -6000),
    ("FG_APPLET_VERSION", 1, pellucid.Error, -12),
])
def test_bad_values_raise_and_change_nothing(board, name, value, error, code):
    before = board[name]
    with pytest.raises(error) as caught:
        board[name] = value
    if code is not None:
        assert (caught.value.code, caught.value.parameter) == (code, name) and caught.value.meaning
    assert board[name] == before


@pytest.mark.parametrize("use", [lambda b: b["FG_NOPE"], lambda b: b.set("FG_NOPE", 1), lambda b: b.info("FG_NOPE")])
def test_unknown_names_raise_key_errors(board, use):
    with pytest.raises(pellucid.UnknownParameter) as caught:
        use(board)
    assert isinstance(caught.value, KeyError) and caught.value.parameter == "FG_NOPE"
    assert "FG_NOPE" not in board and "FG_WIDTH" in board


def test_info_and_parameter_list(board):
    width = board.info("FG_WIDTH")
    assert (width.type, width.minimum, width.maximum, width.step, width.unit, width.access) == (
        "uint", 16, 16384, 16, "pixel", "RW")
    assert width.help and width.writable and not board.info("FG_APPLET_VERSION").writable
    assert ("FG_COL48", 6, "Color 48bit") in board.info("FG_FORMAT").entries
    names = board.parameters()
    assert "FG_GEN_FREQ" in names and len(set(names)) == len(names)
    assert '<?xml version="1.0"' in board.xml() and "FG_WIDTH" in board.xml()


def test_configuration_files_round_trip(board, tmp_path):
    board["FG_WIDTH"], board["FG_FORMAT"] = 512, "FG_COL48"
    board.save(tmp_path / "a.mcf")
    board["FG_WIDTH"], board["FG_FORMAT"] = 1024, "FG_COL24"
    board.load(tmp_path / "a.mcf")
    assert (board["FG_WIDTH"], board["FG_FORMAT"]) == (512, 6)
    with pytest.raises(pellucid.Error) as caught:
        board.load(tmp_path / "missing.mcf")
    assert caught.value.code < 0 and caught.value.parameter is None


@pytest.mark.parametrize("use", [
    lambda b: b["FG_WIDTH"], lambda b: b.set("FG_WIDTH", 640), lambda b: b.info("FG_WIDTH"),
    lambda b: b.parameters(), lambda b: b.xml(), lambda b: b.save("x.mcf"), lambda b: b.grab(1),
    lambda b: b.software_trigger(),
])
def test_a_closed_board_refuses_every_use(use):
    board = pellucid.Board(0)
    board["FG_WIDTH"]
    board.close()
    board.close()
    with pytest.raises(pellucid.Error) as caught:
        use(board)
    assert caught.value.code == -2001 and board.closed


def test_a_board_that_does_not_exist_fails_to_open():
    with pytest.raises(pellucid.Error) as caught:
        pellucid.Board(7)
    assert caught.value.code == -2002 and "board 7" in str(caught.value)
