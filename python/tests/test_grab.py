import _thread
import threading
import time

import numpy
import pytest

import pellucid


@pytest.mark.parametrize("fmt, dtype", [("FG_COL24", numpy.uint8), ("FG_COL48", numpy.uint16)])
def test_frames_are_rgb_arrays_of_the_format(simulator, fmt, dtype):
    simulator["FG_FORMAT"], simulator["FG_WIDTH"], simulator["FG_HEIGHT"] = fmt, 512, 256
    frames = list(simulator.grab(3))
    assert [f.number for f in frames] == [1, 2, 3]
    assert all(f.shape == (256, 512, 3) and f.dtype == dtype for f in frames)
    # The test pattern: red rises along the lines, green down the columns, blue along the diagonal.
    red, green, blue = numpy.moveaxis(frames[0][2:30, 2:30].astype(int), 2, 0)
    assert (numpy.diff(red, axis=0) == 0).all() and (numpy.diff(red, axis=1) > 0).all()
    assert (numpy.diff(green, axis=1) == 0).all() and (numpy.diff(green, axis=0) > 0).all()
    assert (blue[1:, :-1] == blue[:-1, 1:]).all() and (numpy.diff(blue, axis=1) > 0).all()


def test_frames_are_copies_with_their_metadata(simulator):
    simulator["FG_GEN_ROLL"] = 1
    frames = list(simulator.grab(9, buffers=4))
    cameras, starts = [f.camera_frame for f in frames], [f.exposure_start_ns for f in frames]
    assert cameras == sorted(set(cameras)) and starts == sorted(set(starts)) and cameras[0] == 0
    # Pictures 1, 5 and 9 filled the same buffer.
    assert not numpy.array_equal(frames[0], frames[4]) and not numpy.array_equal(frames[0], frames[8])
    assert frames[0][10:20].number == 1 and type(frames[0].mean()) is numpy.float64


def test_a_slow_loop_loses_frames_but_gets_no_torn_one(simulator):
    simulator["FG_GEN_ROLL"] = 1
    grab, frames = simulator.grab(6, buffers=2), []
    for frame in grab:
        time.sleep(0.05)
        frames.append(frame)
    assert [f.number for f in frames] == list(range(1, 7)) and grab.lost > 0
    assert max(numpy.diff([f.camera_frame for f in frames])) > 1
    # Red depends on the column alone: a picture with rows of two camera frames breaks that.
    assert all((f[:, :, 0] == f[0, :, 0]).all() for f in frames)


def test_an_endless_grab_runs_until_stopped(simulator):
    grab = simulator.grab()
    assert [f.number for _, f in zip(range(40), grab)] == list(range(1, 41))
    newer = simulator.grab(2)  # takes the board over
    assert not grab.running and list(grab) == [] and [f.number for f in newer] == [1, 2]


def test_a_wait_times_out(stopped):
    with pytest.raises(pellucid.Error) as caught:
        next(stopped.grab(timeout=0.1))
    assert caught.value.code == -2120


@pytest.mark.parametrize("stop, error", [(_thread.interrupt_main, KeyboardInterrupt), ("close", pellucid.Error)])
def test_a_wait_ends_on_ctrl_c_or_close(stopped, stop, error):
    grab = stopped.grab(timeout=30)
    threading.Timer(0.2, stopped.close if stop == "close" else stop).start()
    with pytest.raises(error):
        next(grab)
    assert not grab.running


def test_closing_the_board_ends_its_grab(simulator):
    grab = simulator.grab()
    frame = next(grab)
    simulator.close()
    assert not grab.running and frame.number == 1 and frame.shape == (1024, 1024, 3)
    with pytest.raises(pellucid.Error, match="closed"):
        next(grab)


def test_software_triggers_make_pictures(stopped):
    with pytest.raises(pellucid.Error) as caught:
        stopped.software_trigger()
    assert caught.value.code == -2140
    stopped["FG_AREATRIGGERMODE"], stopped["FG_TRIGGERSTATE"] = "ATM_SOFTWARE", "TS_ACTIVE"
    stopped["FG_GEN_ENABLE"] = "FG_GENERATOR"
    grab = stopped.grab(2)
    stopped.software_trigger()
    stopped.software_trigger()  # waits out the generator's period
    assert [f.number for f in grab] == [1, 2]


@pytest.mark.parametrize("arguments, error", [
    ({"count": 0}, ValueError), ({"count": 2.5}, TypeError), ({"timeout": "1"}, TypeError),
    ({"timeout": -1}, ValueError), ({"buffers": 0}, ValueError),
])
def test_bad_grab_arguments(board, arguments, error):
    with pytest.raises(error):
        board.grab(**arguments)
