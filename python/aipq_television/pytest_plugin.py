"""The pytest fixture `television`, and the television's log in the report of a failed test."""

from typing import Any, Iterator

import pytest

from .television import Television

_TELEVISION = pytest.StashKey[Television]()


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "television(**options): the fixture television is Television(**options)")


@pytest.fixture
def television(request: pytest.FixtureRequest) -> Iterator[Television]:
    """A private television for this test."""
    marker = request.node.get_closest_marker("television")
    with Television(**(marker.kwargs if marker else {})) as private:
        request.node.stash[_TELEVISION] = private
        yield private


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(item: pytest.Item) -> Any:
    outcome = yield
    report = outcome.get_result()
    if report.failed and _TELEVISION in item.stash:
        report.sections.append(("What the television saw", item.stash[_TELEVISION].log()))
