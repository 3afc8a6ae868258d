"""Pellucid frame-grabber boards from Python: parameters, configuration files and acquisition.

    import pellucid

    with pellucid.Board(0) as board:
        board.load("examples/camera.mcf")
        board["FG_FORMAT"] = "FG_COL48"          # an entry by symbol, display name or number
        print(board["FG_FORMAT"].symbol)          # FG_COL48
        for frame in board.grab(10, timeout=5.0):
            print(frame.number, frame.camera_frame, frame.mean(axis=(0, 1)))

Every failure of the board, the SDK or the applet raises Error (a RuntimeError) with the SDK's
error number, its meaning and the parameter concerned; UnknownParameter (also a KeyError) and
InvalidValue (also a ValueError) are its kinds for a wrong name and a value the parameter does
not take. A value of the wrong type raises TypeError.
"""

import dataclasses
import math
import numbers
import operator
import os
import time

import numpy

from . import _pellucid

__all__ = ["Board", "Entry", "Error", "Frame", "Grab", "InvalidValue", "ParameterInfo", "UnknownParameter"]

_VALUE_OUT_OF_RANGE = -6000  # the SDK's FG_VALUE_OUT_OF_RANGE
_SOFTWARE_TRIGGER_PENDING = -60  # FG_SOFTWARE_TRIGGER_PENDING
_INTEGER_TYPES = ("uint", "int", "uint64", "int64")


class Error(RuntimeError):
    """A failure of the board, the SDK or the applet.

    Attributes:
        code: the SDK's error number (negative), or None where none applies.
        meaning: the SDK's text for that number (Fg_getErrorDescription), or None.
        parameter: the name of the parameter concerned, or None.
    """

    def __init__(self, message, code=None, parameter=None):
        super().__init__(message)
        self.code = code
        self.meaning = None if code is None else _pellucid.error_description(code)
        self.parameter = parameter

    def __str__(self):
        return str(self.args[0])  # KeyError would put the text in quotes


class UnknownParameter(Error, KeyError):
    """The board has no parameter of that name; also a KeyError."""


class InvalidValue(Error, ValueError):
    """A value of the right type that the parameter does not take: out of its range, no entry of
    the enumeration, not a multiple of its step, too large for its type or not finite; also a
    ValueError. Its code is the SDK's FG_VALUE_OUT_OF_RANGE (-6000), or FG_NOT_ALIGNED (-7080) for
    a width or offset off its step."""


class Entry(int):
    """The value of an enumeration parameter: an int that also knows its entry.

    Attributes:
        symbol: the entry's symbolic name, e.g. "FG_COL24" (None for a value that is no entry).
        display: its display name, e.g. "Color 24bit".
    """

    def __new__(cls, value, symbol=None, display=None):
        self = super().__new__(cls, value)
        self.symbol = symbol
        self.display = display
        return self

    def __repr__(self):
        return f"{int(self)} ({self.symbol})" if self.symbol else str(int(self))


@dataclasses.dataclass(frozen=True)
class ParameterInfo:
    """What the applet says about a parameter (Board.info).

    type is "uint", "int", "uint64", "int64", "double", "enum", "string" or a field type such as
    "uint field"; access is "R", "RW" or "RWC" (writable also while acquiring). minimum, maximum and
    step are set for numbers, entries (tuples of symbol, value, display name) for enumerations.
    """

    name: str
    id: int
    type: str
    access: str
    unit: str = ""
    help: str = ""
    minimum: object = None
    maximum: object = None
    step: object = None
    entries: tuple = ()

    @property
    def writable(self):
        """True when the parameter can be set."""
        return "W" in self.access


class Frame(numpy.ndarray):
    """One picture: an array of shape (height, width, 3) with the channels in R, G, B order,
    uint8 for FG_COL24 and uint16 for FG_COL48 (the 12 processed bits left- or right-aligned as
    FG_BITALIGNMENT says).

    The pixels are a copy taken before the DMA buffer went back to the board, so a frame stays as
    it is for as long as it is kept. Slices and views of it carry the same attributes.

    Attributes:
        number: the picture number, from 1 at the start of the grab; a gap means pictures the
            ring of buffers overwrote before they were read.
        camera_frame: the camera's frame number, from 0 at the start of the grab; a gap means
            frames that found no free buffer (Grab.lost counts them). None where the SDK does
            not say.
        exposure_start_ns: the start of the exposure in board time (ns since power-on), or None.
    """

    number = None
    camera_frame = None
    exposure_start_ns = None

    def __array_wrap__(self, array, context=None, *args):
        # Sums, means and other results are plain numbers and arrays, not pictures.
        return array.view(numpy.ndarray) if array.ndim else array[()]

    def __array_finalize__(self, obj):
        if obj is not None:
            self.number = getattr(obj, "number", None)
            self.camera_frame = getattr(obj, "camera_frame", None)
            self.exposure_start_ns = getattr(obj, "exposure_start_ns", None)


class Grab:
    """A running acquisition (Board.grab): iterate it for Frame objects.

    The acquisition stops and its buffers are freed when the iteration ends: after the last
    picture of a counted grab, on stop(), when the loop is left by break or an exception
    (KeyboardInterrupt included) and the Grab is dropped, and when the board is closed (a frame
    asked for after that raises Error). Used with `with`, it stops on leaving the block.
    """

    def __init__(self, raw):
        self._raw = raw

    def __iter__(self):
        """The grab is its own iterator."""
        return self

    def __next__(self):
        """Waits for the next picture and returns it as a Frame; StopIteration at the end."""
        pixels, number, camera_frame, exposure_start_ns = self._raw.next()
        frame = pixels.view(Frame)
        frame.number = number
        frame.camera_frame = camera_frame
        frame.exposure_start_ns = exposure_start_ns
        return frame

    def stop(self):
        """Stops the acquisition and frees its buffers; the iteration then ends."""
        self._raw.stop()

    @property
    def running(self):
        """True until the acquisition has ended."""
        return self._raw.running

    @property
    def skipped(self):
        """Pictures overwritten in the ring before they were read (their numbers are missing)."""
        return self._raw.skipped

    @property
    def lost(self):
        """Frames the board found no free buffer for (they have no picture number), or None where
        the SDK does not count them. Read after a frame or at the end."""
        return self._raw.lost

    def __enter__(self):
        """Returns the grab itself."""
        return self

    def __exit__(self, *exc):
        """Stops the acquisition."""
        self.stop()


def _check_name(name):
    if not isinstance(name, str):
        raise TypeError(f"a parameter name is a str, not {type(name).__name__}")


class Board:
    """A board opened with the Pellucid applet.

    Parameters read and write like a dict: board["FG_WIDTH"] = 640. Reads give an int (an Entry
    for enumerations, with .symbol), a float or a str as the parameter's type is. Writes take an
    int for integer parameters, an int or float for decimal ones, a str for text ones and an
    entry's symbol, display name or number for enumerations; anything else raises TypeError (a
    float for an integer parameter too: 2.7 is never cut to 2). A value the parameter does not
    take raises InvalidValue, an unknown name UnknownParameter.

    Settings last while the board is open. close() (or leaving a `with` block) stops a running
    grab, frees its buffers and closes the board; every later use raises Error.
    """

    def __init__(self, index=0):
        """Opens board `index` with the applet; raises Error when it cannot."""
        index = operator.index(index)
        if index < 0:
            raise ValueError(f"a board index is 0 or more, not {index}")
        self._raw = _pellucid.Board(index)
        self._kinds = {}  # name -> (type, entries): neither changes while the board is open

    @property
    def index(self):
        """The board's index."""
        return self._raw.index

    @property
    def closed(self):
        """True once the board is closed."""
        return self._raw.closed

    def close(self):
        """Stops a running grab, frees its buffers and closes the board. Closing twice is fine."""
        self._raw.close()

    def __enter__(self):
        """Returns the board itself."""
        return self

    def __exit__(self, *exc):
        """Closes the board."""
        self.close()

    def __repr__(self):
        return f"<pellucid.Board {self.index}{' closed' if self.closed else ''}>"

    def _kind(self, name):
        _check_name(name)
        kind = self._kinds.get(name)
        if kind is None:
            d = self._raw.describe(name)
            kind = self._kinds[name] = (d["type"], d.get("entries", ()))
        return kind

    def get(self, name):
        """The parameter's current value (see the class); same as board[name]."""
        kind, entries = self._kind(name)
        text = self._raw.get(name)
        if kind == "enum":
            value = int(text.split(" ", 1)[0])
            entry = next((e for e in entries if e[1] == value), (None, value, None))
            return Entry(value, entry[0], entry[2])
        if kind in _INTEGER_TYPES:
            return int(text)
        if kind == "double":
            return float(text)  # the board's text reads back to the same double
        return text[1:-1]  # strings come in quotes

    def set(self, name, value):
        """Writes the parameter (see the class); same as board[name] = value."""
        kind, _ = self._kind(name)
        self._raw.set(name, self._text(name, kind, value))

    __getitem__ = get
    __setitem__ = set

    def __contains__(self, name):
        """True when the board has a parameter of that name."""
        try:
            self._kind(name)
        except UnknownParameter:
            return False
        return True

    @staticmethod
    def _text(name, kind, value):
        if kind == "string" or (kind == "enum" and isinstance(value, str)):
            if not isinstance(value, str):
                raise TypeError(f"{name} takes a str, not {type(value).__name__}")
            return value
        if kind == "double":
            if not isinstance(value, numbers.Real):
                raise TypeError(f"{name} takes a number, not {type(value).__name__}")
            value = float(value)
            if not math.isfinite(value):
                raise InvalidValue(f"{name}: {value} is not a finite number", _VALUE_OUT_OF_RANGE, name)
            return repr(value)
        if kind in _INTEGER_TYPES or kind == "enum":
            try:
                return str(operator.index(value))
            except TypeError:
                wanted = "an entry's name or number" if kind == "enum" else "an int"
                raise TypeError(f"{name} takes {wanted}, not {type(value).__name__}") from None
        return str(value)  # fields and the like: the board says why it takes no single value

    def info(self, name):
        """The parameter's type, access, unit, help text, range or entries, as a ParameterInfo."""
        _check_name(name)
        d = self._raw.describe(name)
        d["entries"] = tuple(d.get("entries", ()))
        return ParameterInfo(**d)

    def parameters(self):
        """The names of all parameters, group by group."""
        return self._raw.parameters()

    def load(self, path):
        """Loads a configuration file (.mcf)."""
        self._raw.load(os.fspath(path))

    def save(self, path):
        """Saves every setting to a configuration file (.mcf)."""
        self._raw.save(os.fspath(path))

    def xml(self):
        """The GenApi document of the applet's parameters, as text."""
        return self._raw.xml()

    def software_trigger(self, n=1, timeout=1.0):
        """Sends n software trigger pulses (FG_SENDSOFTWARETRIGGER). Needs FG_AREATRIGGERMODE
        ATM_SOFTWARE and FG_TRIGGERSTATE TS_ACTIVE; more than 1 at a time needs the trigger queue
        (FG_TRIGGERQUEUE_MODE on). While the trigger generator is still busy with the previous
        pulse (its period, 1 / FG_TRIGGER_FRAMESPERSECOND) this waits up to `timeout` seconds,
        then raises Error with code -60."""
        deadline = time.monotonic() + timeout
        while True:
            try:
                self["FG_SENDSOFTWARETRIGGER"] = n
                return
            except Error as e:
                if e.code != _SOFTWARE_TRIGGER_PENDING or time.monotonic() >= deadline:
                    raise
            time.sleep(0.001)

    def grab(self, count=None, timeout=5.0, buffers=None):
        """Starts acquiring on DMA 0 with the current settings and returns a Grab to iterate.

        count: the number of pictures, or None to go on until the loop ends (break, an
            exception, Grab.stop() or close()).
        timeout: seconds to wait for each picture before Error (code -2120) is raised.
        buffers: DMA buffers in the ring (default: the count within 4..16, 16 without count).

        Width, height and FG_FORMAT (FG_COL24 or FG_COL48) are read at the start. Waits release
        the GIL and let Ctrl-C through; KeyboardInterrupt stops the acquisition. One grab runs at
        a time on a board: starting one ends the iteration of a grab still running.
        """
        counts = [0 if n is None else operator.index(n) for n in (count, buffers)]
        if any(n < 1 for n, given in zip(counts, (count, buffers)) if given is not None):
            raise ValueError(f"count and buffers are 1 or more (or None), not {count} and {buffers}")
        if not isinstance(timeout, numbers.Real):
            raise TypeError(f"timeout takes a number of seconds, not {type(timeout).__name__}")
        if not timeout >= 0:
            raise ValueError(f"timeout is 0 or more seconds, not {timeout}")
        # Beyond about 30 years is as good as forever, and keeps the C++ clock from overflowing.
        return Grab(self._raw.grab(counts[0], min(float(timeout), 1e9), counts[1]))
