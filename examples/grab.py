#!/usr/bin/env python3
"""Grabs frames from a board with the bench's camera and prints each frame's mean per channel.

    PYTHONPATH=build/default/python /usr/bin/python3 examples/grab.py --frames 10
"""
import argparse
import pathlib
import sys

import pellucid


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--frames", type=int, default=10, help="how many frames (default 10)")
    parser.add_argument("--board", type=int, default=0, help="board index (default 0)")
    parser.add_argument("--config", default=str(pathlib.Path(__file__).with_name("camera.mcf")),
                        help="configuration file to load first (default: the camera with gain and gamma 1)")
    parser.add_argument("--format", default="FG_COL24", choices=["FG_COL24", "FG_COL48"])
    args = parser.parse_args()
    try:
        with pellucid.Board(args.board) as board:
            board.load(args.config)
            board["FG_FORMAT"] = args.format
            print(f"board {board.index}: {board['FG_WIDTH']} x {board['FG_HEIGHT']}, "
                  f"{board['FG_FORMAT'].symbol}")
            grab = board.grab(args.frames, timeout=5.0)
            for frame in grab:
                red, green, blue = frame.mean(axis=(0, 1))
                print(f"frame {frame.number} (camera frame {frame.camera_frame}): "
                      f"mean R {red:.1f} G {green:.1f} B {blue:.1f}")
            print(f"{args.frames} frames, {grab.lost} lost")
    except pellucid.Error as e:
        sys.exit(f"grab.py: {e}")


if __name__ == "__main__":
    main()
