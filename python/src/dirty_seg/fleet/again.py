"""Object stores that do not answer at once."""

from __future__ import annotations

import time
from collections.abc import Callable
from typing import TypeVar

Answer = TypeVar("Answer")

#: Seconds before it is asked again.
DELAYS = (0.5, 1.0, 2.0, 4.0)


def is_of_store(error: OSError) -> bool:
    """Whether it is a store's, and not the system's, which asking again does not mend."""
    return error.errno is None


def again(call: Callable[[], Answer]) -> Answer:
    """What ``call`` gives, if need be after several tries.

    Raises:
        OSError: the last one's, or at once what is not a store's.
    """
    for delay in DELAYS:
        try:
            return call()
        except OSError as error:
            if not is_of_store(error):
                raise
            time.sleep(delay)
    return call()
