#!/usr/bin/env python3
"""Generates the 32 x 32 threshold screen of src/graphics/screens.cpp.

Usage: python3 tools/make_screen.py        # prints the C++ table body
       python3 tools/make_screen.py --check  # prints the screen's statistics

The screen's first two rows are fixed as given;
the other 30 rows are built here so that they continue the same structure:

* The screen is a 45 degree clustered-dot "dual dot" screen on an 8 x 8 tile.
  Each tile holds two black dots, A centred at (6.5, -0.5) and B at
  (2.5, 3.5), and two white holes, H1 at (2.5, -0.5) and H2 at (6.5, 3.5);
  every one of them owns a 4 x 4 square of the tile. Up to half tone the
  dots grow from their centres (A and B taking turns, B first); from half
  tone on the holes close from their edges to their centres, so at 50 % the
  tile is a checkerboard of 4 x 4 squares. The growth order inside a square
  (RANK_A below) is the one the two given rows imply: ranking their
  thresholds puts A's pixels on odd steps (3, 7, 9, 15, ...) and H1's pixels
  on 63 minus those steps, i.e. a hole is the dot's complement.
* The 32 x 32 screen is a 4 x 4 supercell of such tiles. Within a tile's
  64 growth steps the 16 copies of a pixel do not switch at the same grey
  level: each tile's dots are nudged by a sub-pixel step in its own
  direction (16 directions, spread over the tiles in Bayer order), so the
  copies of a pixel switch one after the other, nearest the nudge first.
  This is what turns 64 steps into the full range of grey levels, as the
  per-tile offsets do in the two 16 x 16 screens.
* Sorting every cell by (growth step, nudge) gives an order; the thresholds
  are handed out along that order from a target histogram: 51 cells at 13,
  four cells for each level 14..243 (five for six evenly spread levels) and
  47 at 244. So the number of printed dots falls by 4 (rarely 5) per grey
  level: the share printed at level g falls linearly from all (g <= 12) to
  none (g >= 244). Cells of the two given rows keep their values; the
  histogram walk just skips the values they use.
"""

import math
import sys

N = 32
TILE = 8

GIVEN = [
    [80, 199, 231, 239, 180, 61, 29, 13, 76, 196, 227, 241, 183, 64, 32, 16,
     79, 199, 230, 240, 180, 61, 29, 13, 77, 196, 228, 242, 183, 64, 33, 17],
    [104, 136, 184, 216, 152, 124, 69, 37, 100, 132, 186, 218, 154, 127, 72, 40,
     103, 135, 184, 216, 152, 125, 69, 37, 101, 133, 186, 218, 154, 128, 72, 40],
]

# Growth step (0..63) of the pixels of dot A's 4 x 4 square, rows -2..1 and
# columns 5..8 of the tile (column 8 is column 0 of the next tile).
RANK_A = [
    [29, 21, 13, 27],
    [23, 5, 1, 11],
    [15, 7, 3, 19],
    [31, 17, 9, 25],
]

BAYER4 = [
    [0, 8, 2, 10],
    [12, 4, 14, 6],
    [3, 11, 1, 9],
    [15, 7, 13, 5],
]


def target_values():
    """The 1024 thresholds in ascending order (the target histogram)."""
    values = [13] * 51
    levels = list(range(14, 244))
    extra = {levels[int((i + 0.5) * len(levels) / 6)] for i in range(6)}
    for level in levels:
        values += [level] * (5 if level in extra else 4)
    values += [244] * 47
    assert len(values) == N * N
    return values


def tile_design():
    """For each tile pixel (x, y): (growth step, centre, sign).

    sign is -1 for a dot (nearer the nudged centre = earlier) and +1 for a
    hole (nearer the hole's centre = later)."""
    design = {}
    for r in range(4):
        for c in range(4):
            a = RANK_A[r][c]
            ax, ay = 5 + c, -2 + r  # unwrapped coordinates in dot A's square
            squares = [
                ((ax, ay), a, (6.5, -0.5), -1),  # dot A
                ((ax - 4, ay + 4), a - 1, (2.5, 3.5), -1),  # dot B
                ((ax - 4, ay), 63 - a, (2.5, -0.5), +1),  # hole H1
                ((ax, ay + 4), 64 - a, (6.5, 3.5), +1),  # hole H2
            ]
            for (px, py), step, centre, sign in squares:
                design[(px % TILE, py % TILE)] = (step, (px, py), centre, sign)
    assert len(design) == TILE * TILE
    return design


def implied_steps(values):
    """Growth step of each given tile pixel, read off the given rows: the mean
    position of its four copies in the target histogram, in units of 16."""
    steps = {}
    for y, row in enumerate(GIVEN):
        for x in range(TILE):
            copies = [row[x + TILE * t] for t in range(N // TILE)]
            positions = []
            for v in copies:
                first = values.index(v)
                last = len(values) - 1 - values[::-1].index(v)
                positions.append((first + last) / 2)
            steps[(x, y)] = sum(positions) / len(positions) / 16 - 0.5
    return steps


def make_screen():
    values = target_values()
    design = tile_design()
    implied = implied_steps(values)

    remaining = list(values)
    fixed = {}
    for y, row in enumerate(GIVEN):
        for x, v in enumerate(row):
            fixed[(x, y)] = v
            remaining.remove(v)

    order = []
    for y in range(N):
        for x in range(N):
            if (x, y) in fixed:
                continue
            tx, ty = x % TILE, y % TILE
            step, (px, py), (cx, cy), sign = design[(tx, ty)]
            if (tx, ty) in implied:
                step = implied[(tx, ty)]
            bayer = BAYER4[y // TILE][x // TILE]
            angle = 2 * math.pi * bayer / 16
            dx, dy = px + 0.5 - cx - 0.5, py + 0.5 - cy - 0.5
            length = math.hypot(dx, dy)
            towards = (dx * math.cos(angle) + dy * math.sin(angle)) / length
            key = step + 0.5 + 0.45 * sign * towards + 0.01 * (bayer - 7.5) / 16
            order.append((key, y, x))
    order.sort()

    screen = [[0] * N for _ in range(N)]
    for (x, y), v in fixed.items():
        screen[y][x] = v
    for (key, y, x), v in zip(order, sorted(remaining)):
        screen[y][x] = v
    return screen


def check(screen):
    cells = [v for row in screen for v in row]
    assert min(cells) == 13 and max(cells) == 244
    assert cells.count(13) == 51 and cells.count(244) == 47
    assert screen[:2] == GIVEN
    # The 51 cells at 13 all switch at level 13 and the 47 at 244 at level
    # 244; in between, the printed count should follow the straight line.
    first, last = N * N - 51, 47
    worst = 0.0
    for g in range(13, 244):
        printed = sum(1 for v in cells if g < v)
        ideal = first + (last - first) * (g - 13) / (243 - 13)
        worst = max(worst, abs(printed - ideal))
    return worst


def main():
    screen = make_screen()
    worst = check(screen)
    if "--check" in sys.argv:
        print(f"largest distance from a linear tone ramp: {worst:.1f} dots of {N * N}")
        for g in (12, 13, 64, 128, 192, 243, 244):
            printed = sum(1 for row in screen for v in row if g < v)
            print(f"grey {g:3}: {printed:4} dots")
        return
    for row in screen:
        print("    " + ", ".join(f"{v:3}" for v in row) + ",")


if __name__ == "__main__":
    main()
