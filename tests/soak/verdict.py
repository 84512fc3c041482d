"""Judges whether a process uses more and more of a resource."""
from dataclasses import dataclass

DAY_S = 24 * 60  # a television's day

# The resources of a shorter life are not stable yet, so more noise is allowed.
SHORT_LIFE_S = 5 * 60
SHORT_LIFE_NOISE = 3  # factor

# quantity: (growth of a run that counts as noise, permitted growth per day)
LIMITS = {
    "memory": (1024, 2048),  # KiB of anonymous memory
    "descriptors": (3, 4),
    "threads": (6, 4),
    "segments": (1, 1),
    "queues": (1, 1),
}


@dataclass
class Sample:
    time: float  # s since the start
    process: str
    life: int  # the process id: each process starts with fresh resources
    values: dict  # by quantity


@dataclass
class Finding:
    process: str
    quantity: str
    first: float  # the least value of the first window that was judged
    last: float  # the least value of the last window
    growth: float  # over the judged time
    per_day: float
    growing: bool


def floors(samples, quantity, window):
    """The pairs (time, least value) of all windows. The least value excludes resources that are used only briefly, such
    as those of a frame or a worker."""
    least = {}
    for sample in samples:
        index = int(sample.time // window)
        value = sample.values[quantity]
        least[index] = min(least.get(index, value), value)
    return [((index + 0.5) * window, value) for index, value in sorted(least.items())]


def settled(lives):
    """The samples of each life without its first half, in which the resources are not stable yet."""
    for samples in lives:
        begin, end = samples[0].time, samples[-1].time
        rest = [sample for sample in samples if sample.time >= begin + (end - begin) / 2]
        if rest:
            yield rest


def judge_one(process, quantity, lives, duration):
    """Fits one slope to all lives by least squares, with a separate offset for each life. Returns None if there are too
    few samples."""
    window = max(1.0, duration / 120)
    across = along = length = 0.0
    points = []
    for samples in settled(lives):
        life = floors(samples, quantity, window)
        mean_time = sum(time for time, _ in life) / len(life)
        mean_value = sum(value for _, value in life) / len(life)
        across += sum((time - mean_time) * (value - mean_value) for time, value in life)
        along += sum((time - mean_time) ** 2 for time, _ in life)
        length += life[-1][0] - life[0][0]
        points += life
    if along == 0:
        return None
    slope = across / along
    noise, limit = LIMITS[quantity]
    if sum(samples[-1].time - samples[0].time for samples in lives) < SHORT_LIFE_S * len(lives):
        noise *= SHORT_LIFE_NOISE
    growth, per_day = slope * length, slope * DAY_S
    return Finding(process, quantity, points[0][1], points[-1][1], growth, per_day, growth > noise and per_day > limit)


def judge(samples, duration):
    """The findings, and the quantities of processes that did not live long enough to be judged."""
    lives = {}
    for sample in samples:
        lives.setdefault(sample.process, {}).setdefault(sample.life, []).append(sample)
    findings, not_judged = [], []
    for process, by_life in lives.items():
        quantities = next(iter(by_life.values()))[0].values
        for quantity in (quantity for quantity in LIMITS if quantity in quantities):
            finding = judge_one(process, quantity, list(by_life.values()), duration)
            if finding:
                findings.append(finding)
            else:
                not_judged.append(f"{process}: {quantity}")
    return findings, not_judged
