"""A test of a service on a television of its own: pytest test_picture_service.py"""


def test_dark_scenes_are_lifted_and_bright_ones_calmed(television, tmp_path):
    television.show_scene("night")
    television.start(["picture_service", tmp_path])
    television.wait_for("brightness", lambda brightness: brightness > 50, timeout=60)
    television.show_scene("snow")
    television.wait_for("brightness", lambda brightness: brightness < 50, timeout=60)
