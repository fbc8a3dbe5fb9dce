"""Waiting for something another thread does, with a deadline: a test that waits
fails with a message saying what never happened rather than hanging the suite."""
import time

import pytest


def wait_until(predicate, timeout=10.0, what=None, interval=0.002):
    """Calls `predicate` until it returns a true value, and returns that value; fails
    the test if `timeout` seconds pass first. `what` names the awaited event in the
    failure message (the predicate's name by default)."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() >= deadline:
            pytest.fail(f"timed out after {timeout} s waiting for {what or getattr(predicate, '__name__', 'a condition')}",
                        pytrace=False)
        time.sleep(interval)
