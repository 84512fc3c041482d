"""A test of a service on a television of its own: pytest test_picture_service.py"""


def test_a_dark_scene_is_lifted_until_the_service_ends(television, tmp_path):
    television.show_scene("night")
    service = television.start(["picture_service", tmp_path])
    television.wait_for("brightness", lambda brightness: brightness > 50, timeout=60)
    service.terminate()
    assert service.wait(60) == 0
    assert television.get("brightness") == 50
