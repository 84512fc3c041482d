"""Plots a run: the resources of each process over the day, and the times of the kills."""
from html import escape

WIDTH, PANEL, LEFT, RIGHT, GAP, TOP = 960, 140, 60, 10, 32, 40
PLOT = WIDTH - LEFT - RIGHT
COLOURS = {"service": "#1f77b4", "embedded": "#9467bd", "television": "#d62728", "pipeline": "#2ca02c",
           "bus": "#8c8c8c", "segments": "#333333", "queues": "#ff7f0e"}
# The panels of the plot: (title, quantities, scale). Each quantity of the machine has its own colour.
PANELS = (("memory, MiB", ("memory",), 1 / 1024), ("descriptors", ("descriptors",), 1), ("threads", ("threads",), 1),
          ("segments and queues of the machine", ("segments", "queues"), 1))


def line(points, colour, width=1.2):
    text = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    return f'<polyline points="{text}" fill="none" stroke="{colour}" stroke-width="{width}"/>'


def label(x, y, text, anchor="start"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="#333">{escape(text)}</text>'


def legend(names, right, y):
    out = []
    for name in reversed(names):
        right -= 24 + 7 * len(name)
        out += [line([(right, y - 4), (right + 14, y - 4)], COLOURS[name], 2), label(right + 18, y, name)]
    return out


def curves(samples, quantities):
    """The points (time, value) of each curve, by (process or quantity, life)."""
    found = {}
    for sample in samples:
        for quantity in quantities:
            if quantity in sample.values:
                name = quantity if sample.process == "machine" else sample.process
                found.setdefault((name, sample.life), []).append((sample.time, sample.values[quantity]))
    return found


def thinned(points):
    """Removes points that are too close to be distinguished, and all but the ends of a constant stretch."""
    points = points[::max(1, 2 * len(points) // PLOT)]
    return [point for i, point in enumerate(points)
            if i in (0, len(points) - 1) or not points[i - 1][1] == point[1] == points[i + 1][1]]


def write(path, samples, kills, title, clock):
    """Writes the plot. `kills` has pairs (time, victim); `clock` returns the television's time of day."""
    duration = max(sample.time for sample in samples)

    def across(seconds):
        return LEFT + seconds / duration * PLOT

    height = TOP + len(PANELS) * (PANEL + GAP) + 18
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" font-family="sans-serif"'
           ' font-size="11">',
           f'<rect width="{WIDTH}" height="{height}" fill="white"/>', label(LEFT, 16, title)]
    top = TOP
    for name, quantities, scale in PANELS:
        bottom = top + PANEL
        shown = curves(samples, quantities)
        highest = max((value * scale for points in shown.values() for _, value in points), default=0) * 1.1 or 1
        out += [f'<rect x="{LEFT}" y="{top}" width="{PLOT}" height="{PANEL}" fill="#fafafa" stroke="#ccc"/>',
                label(LEFT, top - 6, name), label(LEFT - 6, bottom, "0", "end"),
                label(LEFT - 6, top + 10, f"{highest:.3g}", "end")]
        out += legend(sorted({process for process, _ in shown}), WIDTH - RIGHT, top - 6)
        for when, victim in kills:
            of_television = victim == "television"
            out.append(line([(across(when), top if of_television else bottom - 8), (across(when), bottom)],
                            "#f0b0b0" if of_television else "#2ca02c"))
        for (process, _), points in shown.items():
            drawn = [(across(when), bottom - value * scale / highest * PANEL) for when, value in thinned(points)]
            out.append(line(drawn, COLOURS[process]))
        top += PANEL + GAP
    hours = duration / 60
    for hour in range(0, int(hours) + 1, max(1, round(hours / 12))):
        out.append(label(across(hour * 60), top - GAP + 14, clock(hour * 60), "middle"))
    out.append(label(LEFT, height - 6, "Red lines: the television was killed. Green ticks: its video pipeline was."))
    path.write_text("\n".join(out + ["</svg>"]) + "\n", encoding="utf-8")
