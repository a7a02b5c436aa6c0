"""The states and kinds that the tracker tells of. Their numbers are those in arrays."""

from enum import IntEnum


class Kind(IntEnum):
    """What an object is."""

    MOVER = 0  #: moves, or has moved
    STATIC_OBJECT = 1  #: came to stand without having been followed: a case, a parked car


class Visibility(IntEnum):
    """How much of an object is to be seen."""

    VISIBLE = 0  #: found in this frame
    OCCLUDED = 1  #: behind another object, and followed by its motion
    LOST = 2  #: not found, for no known reason


class EventType(IntEnum):
    """What has become of an object."""

    ARRIVED = 0  #: a mover counts from here on
    STOPPED = 1  #: it has been at rest for the stationary time
    MOVED_ON = 2  #: what had stopped moves again, or a static object is gone
    ABSORBED = 3  #: a static object has become background; it may still be there
    LEFT = 4  #: a mover has left the frame or was not seen again


class CountType(IntEnum):
    """What a counter counts."""

    CROSSED_TO_LEFT = 0  #: a line, looking from its beginning to its end
    CROSSED_TO_RIGHT = 1  #: the other way
    ENTERED = 2  #: a zone, across its edge
    APPEARED = 3  #: in a zone: first seen within it
    LEFT = 4  #: a zone, across its edge
    VANISHED = 5  #: in a zone: last seen within it
