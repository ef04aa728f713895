# strip.py: the pictures of the README: strip.py TOLVA SCENE FOLDER, with SCENE the program of the examples. Draws the
# scene and a logo with a soft edge, and what tolva makes of them.
import os
import subprocess
import sys

import numpy as np
from PIL import Image

SIZE = 240  # of the logo, in pixels
FINER = 8  # samples a pixel and direction, for its edges


def logo():
    """Three discs and a ring on nothing: red, green, blue and how much of a pixel they cover."""
    y, x = np.mgrid[0 : SIZE * FINER, 0 : SIZE * FINER] / (SIZE * FINER) - 0.5
    colour = np.zeros((SIZE * FINER, SIZE * FINER, 4))
    distance = np.hypot(x, y)
    colour[(distance < 0.47) & (distance > 0.4)] = (40, 60, 90, 255)
    for angle, disc in ((-90, (214, 60, 60)), (30, (60, 150, 90)), (150, (70, 110, 200))):
        cx, cy = 0.19 * np.cos(np.radians(angle)), 0.19 * np.sin(np.radians(angle))
        shade = 1 - 0.5 * np.hypot(x - cx, y - cy)[..., None] / 0.17
        inside = np.hypot(x - cx, y - cy) < 0.17
        colour[inside] = np.concatenate([np.array(disc) * shade, np.full(shade.shape, 255.0)], -1)[inside]
    tiles = colour.reshape(SIZE, FINER, SIZE, FINER, 4)
    alpha = tiles[..., 3].mean((1, 3))
    covered = np.maximum(alpha, 1e-9)[..., None]
    light = (tiles[..., :3] * tiles[..., 3:]).mean((1, 3)) / covered
    return np.rint(np.concatenate([light, alpha[..., None]], -1)).astype(np.uint8)


def main():
    tolva, scene, folder = sys.argv[1:]
    place = lambda name: os.path.join(folder, name)
    subprocess.run([scene, place("scene.png")], check=True)
    Image.fromarray(logo()).save(place("logo.png"))
    for source, options, result in (
        ("scene.png", ["--dither", "none"], "scene-nearest.gif"),
        ("scene.png", [], "scene.gif"),
        ("scene.png", ["--colours", "16"], "scene-16.gif"),
        ("logo.png", [], "logo.gif"),
    ):
        subprocess.run([tolva, "-qf", "--no-profile", *options, place(source), "-o", place(result)], check=True)


main()
