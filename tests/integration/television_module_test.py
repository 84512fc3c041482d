"""The Python module aipq_television and its pytest plugin: pytest FILE, with the programs on the PATH."""
import os
import pathlib
import re
import signal
import subprocess
import sys
import threading

import pytest

from aipq_television import Television, TelevisionError, TelevisionGone, WaitTimeout

pytest_plugins = ["pytester"]

SOURCE = pathlib.Path(__file__).parents[2]
LIMIT = 60


def ids(process):
    """The children of a process."""
    return [int(child) for child in pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()]


def television_process(television):
    keeper, = ids(television._run._process.pid)
    return next(child for child in ids(keeper)
                if pathlib.Path(f"/proc/{child}/comm").read_text() == "aipq-television\n")


def refusal(operation, *arguments, **options):
    with pytest.raises(TelevisionError) as error:
        operation(*arguments, **options)
    assert "\n" not in str(error.value)
    return str(error.value)


def wait_until_gone(path):
    gone = threading.Event()
    for _ in range(100 * LIMIT):
        if not path.exists():
            return
        gone.wait(0.01)
    pytest.fail(f"{path} is still there")


# Keys


def test_a_key_is_set_and_read(television):
    television.set("dovra.sl2.i32.video.brightness", 61)
    assert television.get("dovra.sl2.i32.video.brightness") == 61
    assert television.get("brightness") == 61


@pytest.mark.parametrize("key, value", [
    ("source.current.path", "HDMI1"), ("tvservice.play.main", ["play", "7"]), ("pq.setting", [3, -4] + 25 * [0]),
    ("tvservice.play.main", []), ("channel.list", [["9", "Nine", "", "", "", "sdr", "0", ""]]),
])
def test_a_value_has_the_type_of_its_key(television, key, value):
    television.set(key, value)
    assert television.get(key) == value


@pytest.mark.parametrize("key, value, problem", [
    ("brightness", "60", "dovra.sl2.i32.video.brightness takes a whole number of 32 bits, not '60'"),
    ("brightness", 1 << 31, "dovra.sl2.i32.video.brightness takes a whole number of 32 bits, not 2147483648"),
    ("brightness", 161, "dovra.sl2.i32.video.brightness takes 0 to 100, not 161"),
    ("source.current.path", 1, "dovra.sl2.str.source.current.path takes a text, not 1"),
    ("play.main", "play", "dovra.sl2.vstr.tvservice.play.main takes a list of texts, not 'play'"),
    ("pq.setting", ["1"], "dovra.sl2.vint.video.aipq.pq.setting takes a list of whole numbers of 32 bits, not ['1']"),
    ("brightnes", 60, "the television has no key 'brightnes' with a value"),
    ("action.source.switch", 60, "the television has no key 'action.source.switch' with a value"),
])
def test_another_value_is_refused(television, key, value, problem):
    assert refusal(television.set, key, value) == problem


def test_a_short_name_stands_for_one_key(television, tmp_path):
    catalogue = tmp_path / "catalogue.toml"
    catalogue.write_text("".join(f'[[key]]\nname = "{name}"\ntype = "integer"\ndefault = 5\nmeaning = "A number"\n'
                                 for name in ("a.level", "b.level", "level")))
    with Television(video="off", catalogue=catalogue) as other:
        assert refusal(other.get, "evel") == "the television has no key 'evel' with a value"
        assert other.get("level") == 5
        other.set("a.level", 6)
        assert (other.get("level"), other.get("b.level")) == (5, 5)
    catalogue.write_text(catalogue.read_text().replace('"level"', '"c.x"'))
    with Television(video="off", catalogue=catalogue) as other:
        assert refusal(other.get, "level") == "'level' is short for a.level and b.level"
        # A program uses the same catalogue.
        found = other.run(["aipqctl", "key", "get", "b.level"], stdout=subprocess.PIPE, text=True, cwd="/")
        assert found.stdout == "5\n"


# Waiting


def test_a_wait_ends_when_a_program_changes_the_key(television):
    # The library's worker is waiting when a delayed notification arrives.
    television.fault("notifications.delay", 250)
    program = television.start(["aipqctl", "set", "brightness", "60", "--wait"])
    assert television.wait_for("brightness", lambda brightness: 50 < brightness < 60, LIMIT) in range(51, 60)
    assert television.wait_for("brightness", 60, LIMIT) == 60
    assert program.wait(LIMIT) == 0


def test_a_wait_names_the_key_and_both_values(television):
    def dark(brightness):
        if brightness == 50:
            television.set("brightness", 40)
        return brightness < 10

    key = "dovra.sl2.i32.video.brightness"
    with pytest.raises(WaitTimeout) as error:
        television.wait_for("brightness", 61, timeout=0.2)
    assert str(error.value) == f"{key} did not become 61 within 0.2 s; its last value is 50"
    assert refusal(television.wait_for, "brightness", dark, 1) == \
        f"{key} did not become dark within 1 s; its last value is 40"


# The remote control, power, the picture


def test_the_remote_control_has_few_keys(television):
    television.press(4)
    assert television.get("play.main")[1] == "4"
    television.press("channel_up")
    assert television.get("play.main")[1] == "5"
    television.press("channel_down")
    assert television.get("play.main")[1] == "4"
    running = television.get("format.info")
    television.press("pause")
    television.wait_for("format.info", "", LIMIT)
    television.press("play")
    television.wait_for("format.info", running, LIMIT)
    assert refusal(television.press, "power") == ("the remote control has no key 'power', but play, pause, channel_up, "
                                                  "channel_down, and the numbers of channels")
    assert refusal(television.press, 77) == "there is no channel '77'"


def test_a_suspended_television_has_no_video_format(television):
    running = television.get("format.info")
    television.suspend()
    television.wait_for("format.info", "", LIMIT)
    television.resume()
    television.wait_for("format.info", running, LIMIT)


def test_the_picture_follows_the_settings(television, tmp_path):
    television.show_scene("bars")
    television.press("pause")
    television.set("brightness", 0)
    dark = television.picture(64, 36)
    television.set("brightness", 100)
    for _ in range(1000):
        bright = television.picture(64, 36)
        if bright.luma > dark.luma + 20:
            break
    assert bright.luma > dark.luma + 20
    assert (bright.width, bright.height, len(bright.rgba)) == (64, 36, 64 * 36 * 4)
    assert all(0 <= colour <= 255 for colour in bright.pixel(63, 35))
    with pytest.raises(IndexError):
        bright.pixel(64, 0)
    bright.save(tmp_path / "bright.png")
    described = subprocess.run(["file", tmp_path / "bright.png"], stdout=subprocess.PIPE, text=True, check=True).stdout
    assert "PNG image data, 64 x 36, 8-bit/color RGBA" in described


def test_an_invalid_scene_size_or_film_is_refused(television, tmp_path):
    scenes = "night sunset snow garden bars cellar train portrait"
    assert refusal(television.show_scene, "nigth") == f"there is no scene 'nigth'; choose one of {scenes}"
    assert refusal(television.picture, 5000, 5000).startswith("no picture: ")
    television.play("off")
    assert refusal(television.picture) == "no picture: the video pipeline is off"
    missing = tmp_path / "missing.mp4"
    assert refusal(television.play, missing) == f"cannot play '{missing}': No such file or directory"
    television.play("scenes")
    assert television.picture().luma > 0


# Faults and scenarios


def test_a_fault_ends_with_its_block(television):
    def read_source():
        return television.run(["aipqctl", "key", "get", "dovra.sl2.str.source.current.path"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode

    with television.fault("key.read_status", 7, key="current.path") as fault:
        assert read_source() != 0
    assert read_source() == 0
    fault.remove()
    television.fault("video.stalled")
    television.clear_faults()
    assert television.picture().luma > 0
    assert refusal(television.fault, "no.fault") == "there is no fault 'no.fault'"
    assert refusal(television.fault, "key.drop") == "the fault 'key.drop' is of a key: name one"


def test_a_nested_fault_restores_the_previous_value(television):
    with television.fault("notifications.delay", 900):
        with television.fault("notifications.delay", 100):
            pass
        assert "notifications.delay = 900" in television.log().splitlines()[-1]


def write_scenario(folder, *steps):
    file = folder / "scenario.toml"
    file.write_text("".join(f"[[step]]\n{step}\n" for step in steps))
    return file


BRIGHTNESS = '"dovra.sl2.i32.video.brightness"'


def test_a_scenario_plays_beside_the_test(television, tmp_path):
    file = write_scenario(tmp_path, f"set = {BRIGHTNESS}\nto = 60",
                          f'after = {{ key = {BRIGHTNESS}, is = 70 }}\nsource = "HDMI1"')
    with television.play_scenario(file):
        television.wait_for("brightness", 60, LIMIT)
        television.set("brightness", 70)
    assert television.get("source.current.path") == "HDMI1"
    scenario = television.play_scenario(file)
    assert refusal(scenario.wait, 0.2) == f"the scenario {file} did not end within 0.2 s"
    scenario.stop()
    scenario.wait(LIMIT)


def test_a_scenario_fails_with_its_reason(television, tmp_path):
    failing = write_scenario(tmp_path, f"expect = {BRIGHTNESS}\nis = 60")
    why = f"the scenario failed: {failing}:1: expected dovra.sl2.i32.video.brightness to be 60, but it is 50"
    assert refusal(television.play_scenario(failing).wait, LIMIT) == why
    with pytest.raises(TelevisionError, match=re.escape(why)):
        with television.play_scenario(failing):
            pass
    with pytest.raises(TelevisionError, match=re.escape(why)):
        with Television(video="off", scenario=failing):
            pass
    broken = write_scenario(tmp_path, "set = 5\nto = 5")
    assert refusal(television.play_scenario(broken).wait, LIMIT).startswith(f"{broken}:2:")


# Programs


def test_programs_share_the_television_and_its_frames(television, tmp_path):
    television.set("brightness", 60)
    asked = television.run(["aipqctl", "get", "brightness"], stdout=subprocess.PIPE, text=True)
    assert (asked.returncode, asked.stdout) == (0, "60\n")
    television.run(["aipqctl", "capture", "-o", tmp_path / "frame.png"], check=True, stdout=subprocess.DEVNULL)
    own = television.run(["sh", "-c", "echo $OWN"], env={**os.environ, "OWN": "5"}, stdout=subprocess.PIPE, text=True)
    assert own.stdout == "5\n"
    with pytest.raises(FileNotFoundError, match="there is no program 'no-such-program' on the PATH"):
        television.start(["no-such-program"])


def test_televisions_side_by_side_do_not_share():
    with Television() as one, Television() as other:
        one.set("brightness", 60)
        assert other.get("brightness") == 50
        for television in (one, other):
            television.run(["aipqctl", "capture", "-o", "/dev/null"], check=True, stdout=subprocess.DEVNULL)


def test_programs_end_with_the_television():
    with Television(video="off") as television:
        program = television.start(["sleep", "1000"])
        folder = pathlib.Path(television.environment["AIPQ_TV_FOLDER"])
        assert folder.exists()
    assert program.returncode == -signal.SIGTERM
    assert not folder.exists()


def test_a_killed_test_leaves_nothing_behind():
    script = """if True:
        from aipq_television import Television
        television = Television(video="off")
        print(television.start(["sleep", "1000"]).pid, television.environment["AIPQ_TV_FOLDER"], flush=True)
        input()
    """
    pipe = subprocess.PIPE
    with subprocess.Popen([sys.executable, "-c", script], stdin=pipe, stdout=pipe, text=True) as test:
        program, folder = test.stdout.readline().split()
        test.kill()
    wait_until_gone(pathlib.Path(folder))
    wait_until_gone(pathlib.Path(f"/proc/{program}"))


# A running television


def test_a_test_attaches_to_a_running_television(television, monkeypatch):
    television.set("brightness", 61)
    with Television.attach(television.environment["AIPQ_TV"]) as attached:
        assert attached.get("brightness") == 61
    monkeypatch.setenv("AIPQ_TV", television.environment["AIPQ_TV"])
    with Television.attach() as attached:
        asked = attached.run(["aipqctl", "get", "brightness"], stdout=subprocess.PIPE, text=True)
        assert asked.stdout == "61\n"
        assert attached.log() == ""
    monkeypatch.delenv("AIPQ_TV")
    monkeypatch.setenv("AIPQ_TV_FOLDER", television.environment["AIPQ_TV_FOLDER"])
    with Television.attach() as attached:
        assert attached.get("brightness") == 61
    for other in ("kitchen", "kitchen@" + television.environment["AIPQ_TV"], "tcp:host=localhost", "x:y"):
        assert refusal(Television.attach, other) == \
            f"no television '{other}' runs: start one with aipq-television"


# Problems


def test_without_the_program_the_message_names_its_package(monkeypatch, tmp_path):
    monkeypatch.setenv("PATH", str(tmp_path))
    assert refusal(Television) == \
        "cannot execute 'aipq-television': No such file or directory: install the package aipq-television"


def test_a_television_that_cannot_start_gives_its_reason(tmp_path):
    missing = tmp_path / "missing.mp4"
    assert refusal(Television, video=missing) == f"the film {missing} cannot be read: No such file or directory"
    assert refusal(Television, catalogue=missing) == f"cannot read '{missing}': No such file or directory"
    assert refusal(Television, scenario=missing) == f"cannot read '{missing}': No such file or directory"


@pytest.mark.parametrize("killed_within_a_wait", [False, True])
def test_the_death_of_the_television_is_reported(killed_within_a_wait):
    died = "the television died under the command: it was killed by signal 9"

    def kill(_=None):
        os.kill(television_process(television), signal.SIGKILL)

    with Television(video="off") as television:
        if not killed_within_a_wait:
            kill()
        with pytest.raises(TelevisionGone, match=died):
            television.wait_for("brightness", kill if killed_within_a_wait else 60, LIMIT)
        assert refusal(television.get, "brightness") == died
    # A test that does not check the television fails, too.
    with pytest.raises(TelevisionError, match=died):
        with Television(video="off") as television:
            kill()
            os.waitid(os.P_PID, television._run._process.pid, os.WEXITED | os.WNOWAIT)


CAPTURE = """if True:
    import subprocess
    from aipq_television import Television
    with Television() as television:
        television.run(["aipqctl", "capture", "-o", "/dev/null"], check=True, stdout=subprocess.DEVNULL)
        assert "--user" in television.run(["true"]).args
"""


def test_no_rights_are_needed_if_user_namespaces_are_allowed():
    less = ["setpriv", "--bounding-set", "-sys_admin"] if os.geteuid() == 0 else []
    subprocess.run([*less, sys.executable, "-c", CAPTURE], check=True)


def test_missing_namespace_rights_are_reported_in_one_line():
    # The current user ID has no mapping.
    less = ["setpriv", "--bounding-set", "-sys_admin"] if os.geteuid() == 0 else []
    words = [*less, "unshare", "--user", sys.executable, "-c", CAPTURE]
    refused = subprocess.run(words, stderr=subprocess.PIPE, text=True)
    assert refused.stderr.splitlines()[-1].startswith(
        "aipq_television.bus.TelevisionError: cannot create a user namespace: Operation not permitted; ")


# The plugin


def test_the_report_of_a_failed_test_has_the_log(pytester):
    pytester.makepyfile("""
        import pytest
        pytestmark = pytest.mark.television(video="off")
        def test_fails(television):
            television.set("brightness", 61)
            assert False
        def test_passes(television):
            television.set("brightness", 62)
        def test_without_television():
            assert False
    """)
    result = pytester.runpytest_subprocess("--strict-markers")
    result.assert_outcomes(failed=2, passed=1)
    result.stdout.fnmatch_lines(["*- What the television saw -*", "*is on and shows nothing.",
                                 "* s  value: dovra.sl2.i32.video.brightness = 61"])
    assert result.stdout.str().count("What the television saw") == 1
    result.stdout.no_fnmatch_line("*brightness = 62*")


def test_a_report_omits_the_frames_of_the_module(pytester):
    pytester.makepyfile("""
        def test_fails(television):
            television.get("nothing")
    """)
    result = pytester.runpytest_subprocess()
    result.stdout.fnmatch_lines(["E *TelevisionError: the television has no key 'nothing' with a value"])
    result.stdout.no_fnmatch_line("*def get*")


# The sources


def test_the_module_s_types_are_complete(tmp_path):
    module = next(path for path in map(pathlib.Path, sys.path) if (path / "aipq_television/py.typed").exists())
    configuration = tmp_path / "mypy.ini"
    configuration.write_text("[mypy]\nstrict = True\n[mypy-jeepney.*]\nignore_missing_imports = True\n")
    subprocess.run([sys.executable, "-m", "mypy", "--cache-dir", tmp_path, "--config-file", configuration,
                    module / "aipq_television"], check=True)


def test_the_documentation_s_tests_pass(pytester):
    text = (SOURCE / "docs/testing.md").read_text(encoding="utf-8")
    tests = re.findall(r"^```python\n(.*?)^```$", text, re.M | re.S)
    pytester.makepyfile("\n\n".join(tests))
    passed = sum(test.count("def test_") for test in tests)
    assert passed > 0
    pytester.runpytest_subprocess().assert_outcomes(passed=passed)
