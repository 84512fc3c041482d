"""Tests of programs on the simulated television: a private one, or one that runs."""

from .bus import TelevisionError, TelevisionGone
from .picture import Picture
from .television import Fault, Scenario, Television, Value, WaitTimeout

__all__ = ["Fault", "Picture", "Scenario", "Television", "TelevisionError", "TelevisionGone", "Value", "WaitTimeout"]
