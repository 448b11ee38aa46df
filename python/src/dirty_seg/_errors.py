"""What the package raises, beside ValueError and TypeError for arguments that cannot be."""

import re

# Options of the host program that the shared messages name, which are parameters here.
_OPTION = re.compile(r"(?<![\w/'-])--(fece-class-ids|classes|names|fit|conf|iou|max-det) ?")
_PARAMETERS = {
    "conf": "score_threshold",
    "iou": "iou_threshold",
    "max-det": "max_detections",
}


class DirtySegError(Exception):
    """The base of this package's exceptions."""


class SetupError(DirtySegError):
    """A detector cannot be made: the text names the file, what is wrong, and what is right."""


class FrameError(DirtySegError):
    """The detector failed on a frame; other frames are unaffected."""


class UsageError(DirtySegError):
    """A detector was used after it was closed, or in a process that was forked from its own."""


class SetupWarning(UserWarning):
    """Something given to a detector has no effect."""


def in_python_words(text: str) -> str:
    """The text with this package's parameters in place of the host program's options."""

    def parameter(match: re.Match[str]) -> str:
        option = match.group(1)
        return _PARAMETERS.get(option, option.replace("-", "_")) + "="

    return _OPTION.sub(parameter, text)
