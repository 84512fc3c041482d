"""Whether what a process holds grows."""
from dataclasses import dataclass

DAY_S = 24 * 60  # a television's day

# In less than this, a life never quite stops to warm up.
SHORT_LIFE_S = 5 * 60
SHORT_LIFE_NOISE = 3  # times as much

# quantity: (what a run may seem to have grown by without it meaning anything, what a day may add)
LIMITS = {
    "memory": (1024, 2048),  # KiB, anonymous
    "descriptors": (3, 4),
    "threads": (6, 4),
    "segments": (1, 1),
    "queues": (1, 1),
}


@dataclass
class Sample:
    time: float  # s since the start
    process: str
    life: int  # the process id: memory begins anew with each life
    values: dict  # by quantity


@dataclass
class Finding:
    process: str
    quantity: str
    first: float  # the least in the first and in the last window that count
    last: float
    growth: float  # over what was looked at
    per_day: float
    growing: bool


def floors(samples, quantity, window):
    """(time, least value) of each window: what is held for a moment only, a frame, a worker, does not count."""
    least = {}
    for sample in samples:
        index = int(sample.time // window)
        value = sample.values[quantity]
        least[index] = min(least.get(index, value), value)
    return [((index + 0.5) * window, value) for index, value in sorted(least.items())]


def settled(lives):
    """The samples of each life without its first half, in which it warms up."""
    for samples in lives:
        begin, end = samples[0].time, samples[-1].time
        rest = [sample for sample in samples if sample.time >= begin + (end - begin) / 2]
        if rest:
            yield rest


def judge_one(process, quantity, lives, duration):
    """One line of least squares through all lives, each at its own height. None if there is too little to tell."""
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
    """The findings, and the processes that did not live long enough to be judged."""
    lives = {}
    for sample in samples:
        lives.setdefault(sample.process, {}).setdefault(sample.life, []).append(sample)
    findings, untold = [], []
    for process, by_life in lives.items():
        quantities = next(iter(by_life.values()))[0].values
        for quantity in (quantity for quantity in LIMITS if quantity in quantities):
            finding = judge_one(process, quantity, list(by_life.values()), duration)
            if finding:
                findings.append(finding)
            else:
                untold.append(f"{process}: {quantity}")
    return findings, untold
