"""Tests a service on its own simulated television: pytest test_picture_service.py"""


def test_each_scene_gets_suitable_settings_and_the_end_restores_the_users(television, tmp_path):
    found = television.get("pq.setting")
    television.show_scene("night")
    service = television.start(["picture_service", tmp_path])
    television.wait_for("pq.setting", lambda pq: pq[0] > 0, timeout=60)  # dark scene: shadows are lifted
    television.show_scene("snow")
    television.wait_for("pq.setting", lambda pq: pq[0] == 0 and pq[1] > 0, timeout=60)  # bright: highlights roll off
    television.show_scene("cellar")
    television.wait_for("enum.dnc", lambda reduction: reduction > 0, timeout=60)  # noisy scene
    television.show_scene("train")
    television.wait_for("contrast", lambda contrast: contrast > 50, timeout=60)  # hazy scene
    service.terminate()
    assert service.wait(60) == 0
    assert television.get("pq.setting") == found
    assert [television.get(key) for key in ("contrast", "enum.dnc", "enum.memc", "sharpness")] == [50, 0, 2, 50]
