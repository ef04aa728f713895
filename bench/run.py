# run.py: CPU time and peak memory of whole processes, side by side: run.py BUILD FOLDER [--runs N] [--against OLD NEW]
# [PICTURE...]. A PGM is written as a palette picture, a PPM is reduced. Least and median of several runs: everything
# that disturbs a run makes it longer.
import argparse
import glob
import html
import json
import os
import re
import shutil
import statistics
import subprocess

PILLOW = (
    "import sys; from PIL import Image; p = Image.open(sys.argv[1]); "
    "p.quantize(256, method=Image.Quantize.MEDIANCUT, dither=Image.Dither.NONE).save(sys.argv[2])"
)
PYTHON = "/usr/bin/python3"


def header_of(picture):
    with open(picture, "rb") as file:
        kind, width, height = re.match(rb"P([56])\s+(?:#[^\n]*\s+)*(\d+)\s+(\d+)", file.read(4096)).groups()
    return kind == b"6", int(width), int(height)


def encoders(build, true_colour, width, height):
    """Who takes part, in the order of the table: name and the command from IN (RAW: its pixels alone) to OUT."""
    tolva = [f"{build}/tolva", "-qf", "--no-profile"]
    if not true_colour:
        yield "tolva", tolva + ["IN", "-o", "OUT"]
        yield "giflib", [f"{build}/bench/peer_giflib", "IN", "OUT"]
        yield "cgif", [f"{build}/bench/peer_cgif", "IN", "OUT"]
        return
    yield "tolva", tolva + ["--dither", "none", "IN", "-o", "OUT"]
    yield "tolva, diffusion", tolva + ["--dither", "diffusion", "IN", "-o", "OUT"]
    yield "tolva --raw", tolva + ["--raw", "IN", "-o", "OUT"]
    yield "gif2rgb", ["gif2rgb", "-1", "-s", str(width), str(height), "RAW"]
    yield "Pillow, median cut", [PYTHON, "-c", PILLOW, "IN", "OUT"]
    yield "ImageMagick", ["convert", "IN", "+dither", "-colors", "256", "OUT"]
    yield "vips, effort 7", ["vips", "gifsave", "IN", "OUT", "--effort", "7", "--dither", "0"]


def builds(folders):
    for name, folder in zip(("old", "new"), folders):
        # Where a build leaves all reducing to the library only when asked, it is asked.
        raw = "--raw" if "--raw" in subprocess.check_output([f"{folder}/tolva", "--help"], text=True) else "-q"
        yield name, [f"{folder}/tolva", raw, "-qf", "--no-profile", "IN", "-o", "OUT"]


def cost_of(build, command):
    """CPU milliseconds and peak kilobytes of one run; None where it fails."""
    run = subprocess.run([f"{build}/bench/cost", "standard-output.gif"] + command, capture_output=True, text=True)
    return tuple(float(word) for word in run.stdout.split()) if run.returncode == 0 else None


def measure(order, picture):
    true_colour, width, height = header_of(picture)
    with open(picture, "rb") as source, open("bare.rgb", "wb") as bare:
        source.seek(-width * height * (3 if true_colour else 1), os.SEEK_END)
        shutil.copyfileobj(source, bare)
    taking_part = list(builds(order.against) if order.against else encoders(order.build, true_colour, width, height))
    taking_part = [(name, command) for name, command in taking_part if shutil.which(command[0])]
    runs = {name: [] for name, _ in taking_part}
    for _ in range(order.runs):
        for name, command in taking_part:
            places = {"IN": picture, "OUT": "out.gif", "RAW": "bare.rgb"}
            cost = cost_of(order.build, [places.get(word, word) for word in command])
            if cost is not None:
                runs[name].append(cost)
    name_of = os.path.basename(picture)
    for name, costs in runs.items():
        if costs:
            times = [cost[0] for cost in costs]
            figures = {"picture": name_of, "trueColour": true_colour, "pixels": width * height, "encoder": name}
            figures.update(least=min(times), median=statistics.median(times), kilobytes=max(cost[1] for cost in costs))
            yield figures


def print_table(figures, out):
    """A row a picture and encoder; against: how much longer than the first of the picture's rows it takes."""
    out.write("| picture | encoder | CPU ms, least | median | against the first | peak MB | ns a pixel |\n|---|---|---:|---:|---:|---:|---:|\n")
    for row in figures:
        first = next(f for f in figures if f["picture"] == row["picture"])
        out.write(
            f"| {row['picture']} | {row['encoder']} | {row['least']:.1f} | {row['median']:.1f} | "
            f"{row['least'] / first['least']:.2f} | {row['kilobytes'] / 1024:.1f} | {row['least'] * 1e6 / row['pixels']:.1f} |\n"
        )


def print_chart(figures, wanted, out):
    """Bars a picture, tolva's on top, for three pictures at most; what lasts long runs out of the drawing and says so."""
    bar, gap, left, width = 16, 22, 190, 420
    names = list(dict.fromkeys(row["picture"] for row in figures if row["trueColour"] and row["pixels"] > 1000))
    names = ([name for name in names if name in wanted] or names)[:3]
    height = sum(gap + bar * sum(r["picture"] == n for r in figures) for n in names) + gap
    out.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 90}" height="{height}" font-family="sans-serif" font-size="12">\n')
    out.write('<rect width="100%" height="100%" fill="#fff"/>\n')
    y = gap
    for name in names:
        rows = [row for row in figures if row["picture"] == name]
        scale = width / (12 * min(row["least"] for row in rows))
        out.write(f'<text x="8" y="{y - 6}" font-weight="bold">{html.escape(name)}, CPU milliseconds</text>\n')
        for row in rows:
            length = row["least"] * scale
            fill = "#2a7" if row["encoder"].startswith("tolva") else "#999"
            more = "" if length <= width else " \N{RIGHTWARDS ARROW}"
            length = min(length, width)
            out.write(f'<text x="{left - 6}" y="{y + 12}" text-anchor="end">{html.escape(row["encoder"])}</text>')
            out.write(f'<rect x="{left}" y="{y + 2}" width="{length:.1f}" height="{bar - 4}" fill="{fill}"/>')
            out.write(f'<text x="{left + length + 4:.1f}" y="{y + 12}">{row["least"]:.0f}{more}</text>\n')
            y += bar
        y += gap
    out.write("</svg>\n")


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = re.findall(r"model name\s*: (.*)", file.read())
    return f"{names[0] if names else os.uname().machine}, {os.cpu_count()} processors"


def main():
    words = argparse.ArgumentParser()
    words.add_argument("build")
    words.add_argument("folder")
    words.add_argument("--runs", type=int, default=15)
    words.add_argument("--against", nargs=2)
    words.add_argument("pictures", nargs="*")
    order = words.parse_intermixed_args()
    order.build = os.path.abspath(order.build)
    pictures = sorted(glob.glob(f"{order.build}/pictures/*.p?m")) + order.pictures
    os.makedirs(order.folder, exist_ok=True)
    os.chdir(order.folder)
    figures = []
    for picture in pictures:
        for row in measure(order, picture):
            print(f"{row['picture']:<24} {row['encoder']:<20} {row['least']:9.1f} ms {row['kilobytes'] / 1024:8.1f} MB", flush=True)
            figures.append(row)
    with open("figures.json", "w", encoding="utf-8") as out:
        json.dump({"machine": machine(), "runs": order.runs, "figures": figures}, out, indent=1)
    with open("table.md", "w", encoding="utf-8") as out:
        out.write(f"{machine()}; {order.runs} runs\n\n")
        print_table(figures, out)
    with open("chart.svg", "w", encoding="utf-8") as out:
        print_chart(figures, [os.path.basename(picture) for picture in order.pictures], out)
    print(os.getcwd())


main()
