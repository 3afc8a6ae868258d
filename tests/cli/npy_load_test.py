"""A grab's NPY files load with numpy.load as they are: (height, width, 3), uint8 or <u2."""
import pathlib
import subprocess
import sys
import tempfile

import numpy

tool, config = sys.argv[1], sys.argv[2]
for fg_format, dtype in (("FG_COL24", numpy.uint8), ("FG_COL48", numpy.dtype("<u2"))):
    with tempfile.TemporaryDirectory() as out:
        subprocess.run([tool, "grab", "--frames", "2", "--out", out, "--format", "npy", "--config", config,
                        "--set", "FG_FORMAT=" + fg_format, "--set", "FG_WIDTH=256", "--set", "FG_HEIGHT=64",
                        "--timeout", "3"], check=True, stdout=subprocess.DEVNULL)
        files = sorted(pathlib.Path(out).glob("frame_*.npy"))
        assert len(files) == 2, files
        for f in files:
            picture = numpy.load(f)
            assert picture.shape == (64, 256, 3) and picture.dtype == dtype, (f, picture.shape, picture.dtype)
            assert picture.any(), f"{f} is black"
