"""Tests programs on the simulated television: on a private or on a running one."""

from .bus import TelevisionError, TelevisionGone
from .picture import Picture
from .television import Fault, Scenario, Television, Value, WaitTimeout

__all__ = ["Fault", "Picture", "Scenario", "Television", "TelevisionError", "TelevisionGone", "Value", "WaitTimeout"]
