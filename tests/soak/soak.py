#!/usr/bin/env python3
"""Runs a service for an accelerated day of television, in which the television and its video pipeline are killed at
random. Ends with 1 if the use of a resource grows or an operation fails. scripts/soak builds the programs and runs
this."""
import argparse
import csv
import ctypes
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.dont_write_bytecode = True  # keeps the source tree clean
import plot
import verdict
from verdict import DAY_S, Sample

PROJECT = Path(__file__).resolve().parents[2]
NAME = "soak"
DAY_BEGINS_H = 6
SAMPLE_PERIOD_S = 0.25
START_LIMIT_S = 30
# The last operations of the service may wait for a worker of the library, which waits for up to a minute.
FINISH_LIMIT_S = 200
CAPTURE_BLOCK_KEY = 72314
REQUEST_QUEUE = "/picture_capture_message_queue"
CHILDREN = {"aipq-video-pipe": "pipeline", "dbus-daemon": "bus"}  # by the process name, which the kernel truncates


class Failure(Exception):
    """The run cannot continue."""


def clock(seconds):
    """The television's time of day; one hour of it takes one minute."""
    minutes = int(DAY_BEGINS_H * 60 + seconds)
    return f"{minutes // 60 % 24:02}:{minutes % 60:02}"


def read(path):
    try:
        return Path(path).read_text(encoding="utf-8", errors="replace")
    except OSError:
        return ""


def children(parent):
    """The process ids of the known children of `parent`, by their roles."""
    found = {}
    for entry in os.listdir("/proc"):
        if entry.isdigit() and (stat := read(f"/proc/{entry}/stat")):
            name, rest = stat[stat.index("(") + 1:stat.rindex(")")], stat[stat.rindex(")") + 2:].split()
            if int(rest[1]) == parent and rest[0] != "Z" and name in CHILDREN:
                found[CHILDREN[name]] = int(entry)
    return found


def held_by(process):
    """The resources that a process uses now, and the inodes of its queues. None if the process has ended."""
    try:
        memory = dict(re.findall(r"^(\w+): +(\d+) kB", read(f"/proc/{process}/smaps_rollup"), re.M))
        descriptors = os.listdir(f"/proc/{process}/fd")
        queues = set()
        for descriptor in descriptors:
            link = f"/proc/{process}/fd/{descriptor}"
            try:
                if os.readlink(link).startswith(REQUEST_QUEUE):
                    queues.add(os.stat(link).st_ino)
            except OSError:
                continue  # the process has closed it since then
        values = {"memory": int(memory["Anonymous"]), "resident": int(memory["Rss"]), "descriptors": len(descriptors),
                  "threads": len(os.listdir(f"/proc/{process}/task")),
                  "attachments": read(f"/proc/{process}/maps").count("/SYSV")}
        return values, queues
    except (OSError, KeyError):
        return None


def segments(processes):
    """The number of System V segments that one of these processes created or that are the capture block."""
    rows = [line.split() for line in read("/proc/sysvipc/shm").splitlines()[1:]]
    return sum(int(row[0]) == CAPTURE_BLOCK_KEY or int(row[4]) in processes for row in rows)


def queue_exists():
    library = ctypes.CDLL(None, use_errno=True)
    queue = library.mq_open(REQUEST_QUEUE.encode(), os.O_RDONLY)
    if queue != -1:
        library.mq_close(queue)
    return queue != -1


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG


def toml(steps):
    return "title = \"A programme\"\n\n" + "\n".join("[[step]]\n" + step + "\n" for step in steps)


def programmes(dice):
    """The steps of all programmes, each a few seconds long, in the format of docs/scenarios.md."""
    def set_key(key, value):
        return f'set = "dovra.sl2.{key}"\nto = {value}'

    def then(step, seconds):
        return f"wait = {seconds:.2f}\n{step}"

    return [
        [f"channel = {dice.randint(1, 5)}", then('channel = "+1"', 1), then('channel = "-1"', 1)],
        [f'source = "HDMI{dice.randint(1, 6)}"', set_key("str.video.format.info", '""'),
         then(set_key("str.video.format.info", '"3840x2160p@120"'), 0.5),
         set_key("i32.video.enum.instant.game.response", 1),
         then(set_key("i32.video.enum.instant.game.response", 0), 2)],
        ['source = "netflix"', set_key("mpctrl.i32.media.stream.encrypted", 1), 'scene = "sunset"',
         set_key("str.servicemode.videoinfo.hdrtype", '"hdr_dolbyvision"'),
         then(set_key("mpctrl.i32.media.stream.encrypted", 0), 3), 'scene = ""'],
        ["playing = false", then("playing = true", 2)],
        ['power = "suspend"', then('power = "resume"', dice.uniform(1, 3))],
        ['notify = "lost_focus"', 'notify = "suspend"', then('notify = "resume"', 1), 'notify = "get_focus"'],
        [set_key("i32.video.aipq.user.switch.osd", 0), set_key("i32.video.ai.pq.available", 0),
         then(set_key("i32.video.aipq.user.switch.osd", 1), 1), set_key("i32.video.ai.pq.available", 1)],
        ['fault = "notifications.delay"\nto = 100', then("clear_faults = true", 2)],
        ['fault = "video.stalled"\nto = true', then('fault = "video.stalled"\nto = false', 2.5)],
    ]


def night():
    """The steps of a standby that ends after 25 s."""
    return ['power = "suspend"', 'wait = 25\npower = "resume"']


class Run:
    def __init__(self, options):
        self.options = options
        self.duration = options.minutes * 60
        self.dice = random.Random(options.seed)
        self.programs = Path(options.programs)
        self.output = Path(options.output)
        self.folder = Path(tempfile.mkdtemp(prefix="soak-"))
        self.environment = {**os.environ, "XDG_RUNTIME_DIR": str(self.folder), "AIPQ_TV": NAME}
        self.begin = time.monotonic()
        self.television = None
        self.player = None
        self.to_play = []
        self.services = {}
        self.operations = {}
        self.samples = []
        self.kills = []
        self.problems = []
        self.known = {}
        self.killed = set()
        self.all_processes = set()
        self.line_shown = 0

    def now(self):
        return time.monotonic() - self.begin

    def log(self, name):
        return read(self.folder / f"{name}.log").strip()

    def start(self, command, log, **more):
        with open(self.folder / log, "ab") as file:
            # Each process starts its own session, so that Ctrl-C reaches only this program.
            how = {"env": self.environment, "stdin": subprocess.DEVNULL, "stdout": file, "stderr": file, **more}
            return subprocess.Popen([str(self.programs / command[0]), *command[1:]], preexec_fn=die_with_parent,
                                    start_new_session=True, **how)

    # The television

    def switch_on(self):
        log = self.folder / "television.log"
        log.unlink(missing_ok=True)
        self.television = self.start(["aipq-television", "--name", NAME], log.name)
        limit = time.monotonic() + START_LIMIT_S
        while "  busctl " not in read(log):
            if self.television.poll() is not None or time.monotonic() > limit:
                raise Failure(f"the television does not start: {read(log)}")
            time.sleep(0.02)
        # After a restart, the other pipeline may belong to the previous television and still be ending.
        if "another video pipeline" in read(log) and not self.services:
            raise Failure(read(log).splitlines()[0])
        # A service that was suspended when the television was killed must be notified that the new one is running.
        self.to_play = [[f'after = {{ registered = "{NAME}" }}\ntell = "running"']]

    def kill_television(self):
        self.kills.append((self.now(), "television"))
        self.television.kill()
        self.television.wait()
        self.television = None
        self.to_play = []

    def kill_pipeline(self):
        if process := self.family().get("pipeline"):
            self.kills.append((self.now(), "pipeline"))
            self.killed.add(process)
            os.kill(process, signal.SIGKILL)

    def family(self):
        """The process ids of the television and of its children."""
        if self.television is None or self.television.poll() is not None:
            return {}
        return {"television": self.television.pid, **children(self.television.pid)}

    def play(self):
        """Plays the next programme if none is playing."""
        if self.television is None or (self.player and self.player.poll() is None):
            return
        if not self.to_play:
            night_time = clock(self.now()) < f"{DAY_BEGINS_H:02}" and clock(self.now()) >= "01"
            self.to_play = [night()] if night_time else self.dice.sample(programmes(self.dice), 5)
        steps = self.to_play.pop(0)
        if steps:
            scenario = self.folder / "programme.toml"
            scenario.write_text(toml(steps), encoding="utf-8")
            self.player = self.start(["aipq-television", "play", str(scenario), "--tv", NAME], "player.log")

    # The services

    def start_services(self):
        words = ["soak_service", str(self.options.seed)] + (["--leak"] if self.options.leak else [])
        embedded = {**self.environment, "AIPQ_TV": "embedded", "AIPQ_TV_VIDEO": "off"}
        for name, more, environment in (("service", [], self.environment),
                                        ("embedded", ["--without-pictures"], embedded)):
            with open(self.folder / f"{name}.operations", "wb") as operations:
                self.services[name] = self.start(words + more, f"{name}.log", stdin=subprocess.PIPE, stdout=operations,
                                                 env={**environment, "AIPQ_TV_LOG": "off"})

    def read_operations(self):
        for name in self.services:
            lines = read(self.folder / f"{name}.operations").split("\n")[:-1]
            if lines:
                words = lines[-1].split()
                counts = (tuple(map(int, count.split("/"))) for count in words[1::2])
                self.operations[name] = dict(zip(words[::2], counts))

    def finish_services(self):
        limit = time.monotonic() + FINISH_LIMIT_S
        for service in self.services.values():
            service.stdin.write(b"finish\n")
            service.stdin.flush()
        for name, service in self.services.items():
            while service.poll() is None and time.monotonic() < limit:
                self.play()
                self.keep_picture()
                time.sleep(0.1)
            if service.poll() is None:
                self.problems.append(f"the {name} hangs: it does not end within {FINISH_LIMIT_S} s")
                service.kill()
                service.wait()
            elif service.returncode != 0:
                self.problems.append(f"the {name} ended with {service.returncode}: {self.log(name)}")
        self.read_operations()

    # Throughout the run

    def sample(self):
        family = self.family()
        processes = {**{name: service.pid for name, service in self.services.items()}, **family}
        self.all_processes |= set(processes.values())
        now, queues, held = self.now(), set(), {}
        for name, process in processes.items():
            if found := held_by(process):
                held[name] = found[0]
                queues |= found[1]
                self.samples.append(Sample(now, name, process, found[0]))
        held["machine"] = {"segments": segments(self.all_processes), "queues": len(queues)}
        self.samples.append(Sample(now, "machine", 0, held["machine"]))
        return held

    def keep_picture(self):
        """Starts a killed pipeline again when the current programme has ended."""
        if self.television and self.to_play[:1] != [["video = \"scenes\""]] and "pipeline" not in self.family():
            self.to_play.insert(0, ["video = \"scenes\""])

    def watch(self):
        for name, service in self.services.items():
            if service.poll() is not None:
                raise Failure(f"the {name} ended by itself with {service.returncode}: {self.log(name)}")
        if self.television and self.television.poll() is not None:
            raise Failure(f"the television ended by itself with {self.television.returncode}: {self.log('television')}")
        family = self.family()
        before = self.known.get("pipeline")
        same_television = self.known.get("television") == family.get("television")
        if same_television and before not in (None, family.get("pipeline"), *self.killed):
            self.problems.append(f"the pipeline ended by itself at {clock(self.now())}")
        self.known = family

    def progress(self, held, at_end=False):
        counts = [count for operations in self.operations.values() for count in operations.values()]
        done, failed = sum(count[0] for count in counts), sum(count[1] for count in counts)
        killed = [sum(victim == process for _, victim in self.kills) for process in ("television", "pipeline")]
        parts = [f"{clock(self.now())}  {done} operations, {failed} failed  killed {killed[0]}+{killed[1]}"]
        parts += [f"{name} {values['memory'] / 1024:.1f} MiB {values['descriptors']} fd {values['threads']} thr"
                  for name, values in held.items() if "memory" in values and name != "bus"]
        line = " | ".join(parts + [f"{held['machine']['segments']} shm {held['machine']['queues']} mq"])
        if sys.stdout.isatty():
            width = shutil.get_terminal_size().columns - 1
            print("\r" + line[:width].ljust(width), end="\n" if at_end else "", flush=True)
        elif at_end or self.now() >= self.line_shown:
            print(line, flush=True)
            self.line_shown = self.now() + max(5.0, self.duration / 24)

    def live(self):
        every = {"television": min(200.0, self.duration * 0.45), "pipeline": min(60.0, max(5.0, self.duration * 0.25))}
        due = {victim: self.now() + period * self.dice.uniform(0.6, 1.4) for victim, period in every.items()}
        # No process is killed at the end of the day, so that no restart affects the last samples.
        last_kill = self.duration * 0.9
        switch_on_at, next_second = 0.0, 0.0
        while self.now() < self.duration:
            held = self.sample()
            self.watch()
            if self.now() >= next_second:
                next_second = self.now() + 1
                self.read_operations()
                self.progress(held)
                self.keep_picture()
            for victim, when in due.items():
                if self.now() < when or self.now() > last_kill or self.television is None:
                    continue
                due[victim] = self.now() + every[victim] * self.dice.uniform(0.6, 1.4)
                if victim == "television":
                    self.kill_television()
                    switch_on_at = self.now() + self.dice.uniform(0.1, 2)
                else:
                    self.kill_pipeline()
            if self.television is None and self.now() >= switch_on_at:
                self.switch_on()
            self.play()
            time.sleep(SAMPLE_PERIOD_S)
        self.progress(self.sample(), at_end=True)

    def switch_off(self):
        if self.player and self.player.poll() is None:
            self.player.terminate()
            self.player.wait(60)
        if self.television:
            self.television.send_signal(signal.SIGTERM)
            status = self.television.wait(60)
            if status != 0:
                self.problems.append(f"the television ended with {status}: {self.log('television')}")
        if left := segments(self.all_processes):
            self.problems.append(f"left behind: {left} System V segments")
        if queue_exists():
            self.problems.append(f"left behind: the queue {REQUEST_QUEUE}")
        if left := list(self.folder.glob("aipq-television/*")):
            self.problems.append(f"left behind: {[path.name for path in left]}")

    def run(self):
        if queue_exists() or segments(set()):
            print("A capture block or a request queue already exists, and may belong to another program.")
        try:
            self.switch_on()
            self.start_services()
            self.begin = time.monotonic()
            try:
                self.live()
            except KeyboardInterrupt:
                self.duration = self.now()
                self.problems.append(f"cut short at {clock(self.duration)}")
            if self.television is None:
                self.switch_on()
            self.finish_services()
            self.switch_off()
        except Failure as failure:
            self.problems.append(str(failure))
        finally:
            for process in (*self.services.values(), self.television, self.player):
                if process and process.poll() is None:
                    process.kill()
                    process.wait()
        status = self.report() if self.samples else self.say_verdict()
        shutil.rmtree(self.folder, ignore_errors=True)
        return status

    # At the end

    def report(self):
        self.output.mkdir(parents=True, exist_ok=True)
        for log in self.folder.glob("*.log"):
            shutil.copy(log, self.output)
        self.write_csv()
        title = f"{clock(0)} to {clock(self.duration)} in {self.duration / 60:.3g} minutes, seed {self.options.seed}"
        plot.write(self.output / "soak.svg", self.samples, self.kills, title, clock)
        for name, operations in self.operations.items():
            print(f"{name} did (and failed to): "
                  + ", ".join(f"{kind} {done} ({failed})" for kind, (done, failed) in operations.items()))
            # The power state of the embedded television does not change.
            self.problems += [f"the {name} never did: {kind}" for kind, (done, _) in operations.items()
                              if done == 0 and (name, kind) != ("embedded", "power")]
        findings, not_judged = verdict.judge(self.samples, self.duration)
        print(f"{'':12}{'':14}{'first':>10}{'last':>10}{'a day':>10}{'limit':>8}")
        for finding in findings:
            unit = " KiB" if finding.quantity == "memory" else ""
            limit = verdict.LIMITS[finding.quantity][1]
            print(f"{finding.process:12}{finding.quantity + unit:14}{finding.first:10.0f}{finding.last:10.0f}"
                  f"{finding.per_day:+10.1f}{limit:8}{'  GROWING' if finding.growing else ''}")
        self.problems += [f"{finding.process}: {finding.quantity} growing" for finding in findings if finding.growing]
        self.problems += [f"{what} not judged: it never lived long enough" for what in not_judged]
        print(f"{self.output} has the samples (soak.csv), their plot (soak.svg) and the logs.")
        return self.say_verdict()

    def say_verdict(self):
        for problem in self.problems:
            print(f"  {problem}")
        print("Verdict: " + ("NOT GOOD" if self.problems else "flat"))
        return 1 if self.problems else 0

    def write_csv(self):
        columns = ["memory", "resident", "descriptors", "threads", "attachments", "segments", "queues"]
        with open(self.output / "soak.csv", "w", newline="", encoding="utf-8") as file:
            writer = csv.writer(file)
            writer.writerow(["seconds", "time of day", "process", "pid", *columns])
            for when, victim in self.kills:
                writer.writerow([f"{when:.2f}", clock(when), f"{victim} killed"])
            for sample in self.samples:
                writer.writerow([f"{sample.time:.2f}", clock(sample.time), sample.process, sample.life,
                                 *(sample.values.get(column, "") for column in columns)])


def main():
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__)
    length = parser.add_mutually_exclusive_group()
    length.add_argument("--day", dest="minutes", action="store_const", const=DAY_S / 60, help="24 minutes; the default")
    length.add_argument("--minutes", type=float, default=DAY_S / 60, help="the number of hours of television")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 31),
                        help="determines the programmes, the operations and the kills")
    parser.add_argument("--output", default=PROJECT / "out/soak", help=argparse.SUPPRESS)
    parser.add_argument("--programs", default=PROJECT / "build/release/bin", help=argparse.SUPPRESS)
    # For the test of the verdict.
    parser.add_argument("--leak", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.minutes <= 0:
        parser.error("--minutes must be more than 0")
    print(f"{options.minutes:g} hours of television in as many minutes, seed {options.seed}")
    return Run(options).run()


if __name__ == "__main__":
    sys.exit(main())
