import pathlib

import pytest

import pellucid

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"


@pytest.fixture
def board():
    with pellucid.Board(0) as b:
        yield b


@pytest.fixture
def simulator(board):
    """The camera simulator running free at its fastest clock."""
    board.load(EXAMPLES / "simulator.mcf")
    board["FG_TRIGGERCC_SELECT0"] = "CC_VCC"
    board["FG_GEN_FREQ"] = 62.5
    return board


@pytest.fixture
def stopped(tmp_path, monkeypatch):
    """A board with nothing on its camera port: no picture comes unless the simulator is on."""
    (tmp_path / "bench.json").write_text('{"camera": null}')
    monkeypatch.setenv("PELLUCID_BENCH", str(tmp_path / "bench.json"))
    with pellucid.Board(0) as b:
        yield b
