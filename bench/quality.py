# quality.py: pictures through tolva and its peers, what they cost and how far the results are from the sources:
# quality.py TOLVA FOLDER [--runs N] [PICTURE...]. Writes FOLDER/index.html, table.md and figures.json. Results are
# decoded by Pillow, which is nobody's own decoder but one of the peers'.
import argparse
import html
import json
import os
import shutil
import subprocess
import sys

import numpy as np
from PIL import Image

CROP = 360  # pixels a side of what the page shows at full size
BLUR_SIGMA = 1.5


# ---- Pictures of our own ----


def gradient(width, height):
    """Every channel a ramp of its own direction: what shows bands."""
    y, x = np.mgrid[0:height, 0:width].astype(float)
    channels = [x / (width - 1), y / (height - 1), 0.5 + 0.5 * np.sin((x + y) / (width + height) * 6)]
    return np.rint(255 * np.stack(channels, -1)).astype(np.uint8)


def evening(width, height):
    """A sky of few hues and a low sun: the smooth picture that people know."""
    y, x = np.mgrid[0:height, 0:width].astype(float)
    down = (y / height)[..., None]
    sky = (1 - down) * np.array([28, 52, 110]) + down * np.array([250, 170, 96])
    sun = np.exp(-(((x - width * 0.7) / width) ** 2 + ((y - height * 0.72) / height) ** 2) * 60)[..., None]
    return np.rint(np.clip(sky + sun * np.array([60, 60, 90]), 0, 255)).astype(np.uint8)


def logo(width, height):
    """Flat colours with smoothed edges."""
    scale = 4
    y, x = np.mgrid[0 : height * scale, 0 : width * scale].astype(float) / scale
    picture = np.full((height * scale, width * scale, 3), 255.0)
    for cx, cy, radius, colour in ((0.35, 0.5, 0.3, (200, 30, 60)), (0.55, 0.45, 0.22, (30, 90, 180)), (0.6, 0.6, 0.12, (250, 200, 0))):
        picture[np.hypot(x - cx * width, y - cy * height) < radius * height] = colour
    return np.rint(picture.reshape(height, scale, width, scale, 3).mean((1, 3))).astype(np.uint8)


DRAWN = {"gradient": gradient, "evening": evening, "logo": logo}


# ---- How far apart ----


def linear(picture):
    value = picture.astype(float) / 255
    return np.where(value <= 0.04045, value / 12.92, ((value + 0.055) / 1.055) ** 2.4)


def lab(light):
    """CIE L*a*b* under D65, of linear sRGB."""
    xyz = light @ np.array([[0.4124, 0.2126, 0.0193], [0.3576, 0.7152, 0.1192], [0.1805, 0.0722, 0.9505]])
    xyz /= np.array([0.95047, 1.0, 1.08883])
    f = np.where(xyz > 216 / 24389, np.cbrt(xyz), (24389 / 27 * xyz + 16) / 116)
    return np.stack([116 * f[..., 1] - 16, 500 * (f[..., 0] - f[..., 1]), 200 * (f[..., 1] - f[..., 2])], -1)


def blurred(light):
    reach = int(4 * BLUR_SIGMA + 0.5)
    kernel = np.exp(-(np.arange(-reach, reach + 1) ** 2) / (2 * BLUR_SIGMA**2))
    kernel /= kernel.sum()
    for axis in (0, 1):
        padding = [(reach, reach) if a == axis else (0, 0) for a in range(3)]
        padded = np.pad(light, padding, mode="reflect")
        size = light.shape[axis]
        light = sum(k * np.take(padded, np.arange(i, i + size), axis) for i, k in enumerate(kernel))
    return light


def distances(source, result):
    """PSNR in dB, mean distance in Lab, the same as an eye some steps away sees it."""
    square = np.mean((source.astype(float) - result.astype(float)) ** 2)
    a, b = linear(source), linear(result)
    mean = lambda p, q: float(np.sqrt(((lab(p) - lab(q)) ** 2).sum(-1)).mean())
    return {
        "psnr": float(10 * np.log10(255**2 / square)) if square > 0 else None,
        "lab": mean(a, b),
        "labBlurred": mean(blurred(a), blurred(b)),
    }


# ---- Who takes part ----


def peers(tolva, folder):
    """Name, whether it dithers, the program that has to be there, the command from PICTURE.ppm (or .png, .rgb) to GIF."""
    pillow = (
        "import sys; from PIL import Image; p = Image.open(sys.argv[1]); "
        "m, d = (Image.Quantize.MEDIANCUT, Image.Dither.%s); p.quantize(256, method=m%s).save(sys.argv[2])"
    )
    spread = "p = p.convert('RGB').quantize(256, palette=p.quantize(256, method=m), dither=d); p.save(sys.argv[2])"
    dithered = pillow.split("p.quantize")[0] % "FLOYDSTEINBERG" + spread
    palette = "[0:v]split[a][b];[a]palettegen=reserve_transparent=0[p];[b][p]paletteuse=dither=%s"
    python = "/usr/bin/python3"
    for dither in (False, True):
        own = "diffusion" if dither else "none"
        yield "tolva", dither, tolva, lambda s, o, own=own: [tolva, "-qf", "--no-profile", "--dither", own, s + ".ppm", "-o", o]
        yield "vips, effort 7", dither, "vips", lambda s, o, d=dither: ["vips", "gifsave", s + ".ppm", o, "--effort", "7", "--dither", str(int(d))]
        yield "pngquant", dither, "pngquant", lambda s, o, d=dither: ["pngquant", "--force", "256", "-o", o + ".png", s + ".png"] + ([] if d else ["--nofs"])
        yield "ffmpeg", dither, "ffmpeg", lambda s, o, d=dither: ["ffmpeg", "-v", "error", "-threads", "1", "-y", "-i", s + ".ppm", "-filter_complex", palette % ("sierra2_4a" if d else "none"), "-frames:v", "1", o]
        yield "ImageMagick", dither, "convert", lambda s, o, d=dither: ["convert", s + ".ppm"] + (["-dither", "FloydSteinberg"] if d else ["+dither"]) + ["-colors", "256", o]
        yield "Pillow", dither, python, lambda s, o, d=dither: [python, "-c", dithered if d else pillow % ("NONE", ", dither=d"), s + ".ppm", o]
    yield "gif2rgb", False, "gif2rgb", lambda s, o: ["gif2rgb", "-1", "-s", *size_of(s), s + ".rgb"]


def size_of(source):
    with Image.open(source + ".ppm") as picture:
        return [str(picture.width), str(picture.height)]


def cost_of(command, output, runs):
    """Least CPU milliseconds of the whole process; None where it fails."""
    least = None
    for _ in range(runs):
        with open(output if command[0] == "gif2rgb" else os.devnull, "wb") as out:
            child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.PIPE)
            said = child.stderr.read()
            _, status, used = os.wait4(child.pid, 0)
            child.returncode = status
        if status != 0:
            print(f"{command[0]} failed: {said.decode(errors='replace').strip()}", file=sys.stderr)
            return None
        milliseconds = 1000 * (used.ru_utime + used.ru_stime)
        least = milliseconds if least is None else min(least, milliseconds)
    return least


def through(tolva, name, command, output, runs):
    cost = cost_of(command, output, runs)
    if cost is None:
        return None
    if os.path.exists(output + ".png"):  # who writes PNG is given the same encoder as we have
        subprocess.run([tolva, "-qf", "--no-profile", output + ".png", "-o", output], check=True)
    with Image.open(output) as gif:
        result = np.asarray(gif.convert("RGB"))
    return {"encoder": name, "milliseconds": round(cost, 1), "bytes": os.path.getsize(output), "pixels": result}


# ---- The page ----


def place_of_interest(picture):
    """Where a crop shows most: the tile whose brightness varies about as much as the whole picture's does."""
    grey = picture.mean(-1)
    rows, columns = max(grey.shape[0] - CROP, 0), max(grey.shape[1] - CROP, 0)
    places = [(y, x) for y in range(0, rows + 1, CROP // 2) for x in range(0, columns + 1, CROP // 2)]
    return min(places, key=lambda p: abs(grey[p[0] : p[0] + CROP, p[1] : p[1] + CROP].std() - grey.std()))


def save_crop(picture, place, path):
    y, x = place
    Image.fromarray(picture[y : y + CROP, x : x + CROP]).save(path)


def row_of(figures):
    psnr = "exact" if figures["psnr"] is None else f"{figures['psnr']:.2f}"
    return [psnr, f"{figures['lab']:.2f}", f"{figures['labBlurred']:.2f}", f"{figures['bytes']:,}", f"{figures['milliseconds']:.0f}"]


HEADS = ["PSNR, dB", "Lab", "Lab, blurred", "bytes", "CPU ms"]


def measure(tolva, folder, name, picture, runs):
    source = os.path.join(folder, name)
    Image.fromarray(picture).save(source + ".ppm")
    Image.fromarray(picture).save(source + ".png", compress_level=1)
    picture.tofile(source + ".rgb")
    place = place_of_interest(picture)
    save_crop(picture, place, source + "-crop.png")
    found = []
    for number, (encoder, dither, program, command) in enumerate(peers(tolva, folder)):
        if shutil.which(program) is None:
            continue
        output = f"{source}-{number}.gif"
        result = through(tolva, encoder, command(source, output), output, runs)
        if result is None:
            continue
        pixels = result.pop("pixels")
        save_crop(pixels, place, f"{source}-{number}.crop.png")
        result.update(distances(picture, pixels), picture=name, dithered=dither, crop=f"{name}-{number}.crop.png")
        found.append(result)
        print(f"{name:<16} {'dithered' if dither else 'plain':<9} {encoder:<15}", *(f"{c:>11}" for c in row_of(result)), flush=True)
    return found


TABLES = [  # dithered, title, figure, how it is written
    (False, "Nothing mixed: PSNR in dB, higher is nearer", "psnr", "{:.2f}"),
    (False, "Nothing mixed: mean distance in Lab, lower is nearer", "lab", "{:.2f}"),
    (True, "Error diffusion: PSNR in dB", "psnr", "{:.2f}"),
    (True, "Error diffusion: mean distance in Lab behind a blur", "labBlurred", "{:.2f}"),
    (True, "Error diffusion: bytes of the GIF", "bytes", "{:,}"),
]


def write_table(path, figures):
    with open(path, "w", encoding="utf-8") as out:
        for dithered, title, figure, form in TABLES:
            rows = [f for f in figures if f["dithered"] == dithered]
            encoders = list(dict.fromkeys(f["encoder"] for f in rows))
            out.write(f"**{title}**\n\n| picture | {' | '.join(encoders)} |\n|---|{'---:|' * len(encoders)}\n")
            for name in dict.fromkeys(f["picture"] for f in rows):
                values = {f["encoder"]: f[figure] for f in rows if f["picture"] == name}
                cells = (("exact" if values[e] is None else form.format(values[e])) if e in values else "" for e in encoders)
                out.write(f"| {name} | {' | '.join(cells)} |\n")
            out.write("\n")


def write_page(path, figures):
    names = list(dict.fromkeys(f["picture"] for f in figures))
    with open(path, "w", encoding="utf-8") as out:
        out.write(
            "<!doctype html><meta charset=utf-8><title>Pictures beside their peers</title><style>body{font:14px sans-serif}"
            "figure{display:inline-block;margin:4px}img{image-rendering:pixelated}figcaption{font-size:12px}</style>"
            "<h1>Pictures beside their peers</h1><p>Pieces at full size. PSNR in dB, higher is nearer; mean distance in "
            "Lab (CIE76, D65), lower is nearer, and the same behind a Gauss blur of 1.5 pixels in linear light.</p>"
        )
        for name in names:
            out.write(f"<h2>{html.escape(name)}</h2>")
            for dither in (False, True):
                out.write(f"<div><figure><img src='{name}-crop.png'><figcaption>source</figcaption></figure>")
                for row in (f for f in figures if f["picture"] == name and f["dithered"] == dither):
                    told = ", ".join(f"{c} {h}" for c, h in zip(row_of(row), HEADS))
                    title = row["encoder"] + (", dithered" if dither else "")
                    out.write(f"<figure><img src='{row['crop']}'><figcaption>{title}<br>{told}</figcaption></figure>")
                out.write("</div>")


def main():
    words = argparse.ArgumentParser()
    words.add_argument("tolva")
    words.add_argument("folder")
    words.add_argument("--runs", type=int, default=3)
    words.add_argument("pictures", nargs="*")
    order = words.parse_intermixed_args()
    tolva = os.path.abspath(order.tolva)
    os.makedirs(order.folder, exist_ok=True)
    sources = {name: draw(1600, 1200) for name, draw in DRAWN.items()}
    for path in order.pictures:
        with Image.open(path) as picture:
            sources[os.path.splitext(os.path.basename(path))[0]] = np.asarray(picture.convert("RGB"))
    figures = []
    for name, picture in sources.items():
        figures += measure(tolva, order.folder, name, picture, order.runs)
    with open(os.path.join(order.folder, "figures.json"), "w", encoding="utf-8") as out:
        json.dump(figures, out, indent=1)
    write_table(os.path.join(order.folder, "table.md"), figures)
    write_page(os.path.join(order.folder, "index.html"), figures)
    print(os.path.join(order.folder, "index.html"))


main()
