from collections.abc import Callable, Iterator, Mapping, Sequence
from os import PathLike
from typing import Any, Literal, Optional, Union, overload

import numpy as np
from numpy.typing import NDArray

from ._enums import CountType, EventType, Kind, Visibility

Pixels = NDArray[np.uint8]
AnyFrame = Union[Pixels, tuple[Pixels, Pixels]]
MaskIn = Union[NDArray[np.uint8], NDArray[np.bool_], NDArray[np.uint32]]
Format = Literal["bgr", "rgb", "yuv", "nv12", "grey"]
_Bytes = NDArray[np.uint8]
_Words = NDArray[np.uint32]
_BytesOut = Optional[tuple[Optional[_Bytes], Optional[_Bytes]]]
_WordsOut = Optional[tuple[Optional[_Words], Optional[_Words]]]

class Segmenter:
    threshold: float
    threshold_factor: float
    stationary_time: float
    hold_on_time: float
    abandoned_object: bool
    def __init__(
        self,
        *,
        threshold: float = ...,
        threshold_factor: float = ...,
        stationary_time: float = ...,
        hold_on_time: float = ...,
        abandoned_object: bool = ...,
    ) -> None: ...
    def reset(self) -> None: ...
    @overload
    def apply(
        self,
        frame: Pixels,
        exclude: Optional[MaskIn] = ...,
        freeze: Optional[MaskIn] = ...,
        reset: Optional[MaskIn] = ...,
        *,
        form: Literal["half", "full"] = ...,
        out: _BytesOut = ...,
    ) -> tuple[_Bytes, _Bytes]: ...
    @overload
    def apply(
        self,
        frame: Pixels,
        exclude: Optional[MaskIn] = ...,
        freeze: Optional[MaskIn] = ...,
        reset: Optional[MaskIn] = ...,
        *,
        form: Literal["packed"],
        out: _WordsOut = ...,
    ) -> tuple[_Words, _Words]: ...
    @overload
    def apply_all(
        self,
        frames: Pixels,
        exclude: Optional[MaskIn] = ...,
        freeze: Optional[MaskIn] = ...,
        reset: Optional[MaskIn] = ...,
        *,
        form: Literal["half", "full"] = ...,
        out: _BytesOut = ...,
    ) -> tuple[_Bytes, _Bytes]: ...
    @overload
    def apply_all(
        self,
        frames: Pixels,
        exclude: Optional[MaskIn] = ...,
        freeze: Optional[MaskIn] = ...,
        reset: Optional[MaskIn] = ...,
        *,
        form: Literal["packed"],
        out: _WordsOut = ...,
    ) -> tuple[_Words, _Words]: ...

class BlobScore:
    @property
    def score(self) -> float: ...
    @property
    def centre(self) -> list[float]: ...
    @property
    def size(self) -> list[float]: ...
    @property
    def tag(self) -> float: ...

class Appearance:
    untrained: bool
    def __init__(self) -> None: ...
    @property
    def means(self) -> NDArray[np.int32]: ...
    @property
    def variances(self) -> NDArray[np.uint32]: ...
    def update(
        self,
        blob: Sequence[int],
        mask: MaskIn,
        frame: AnyFrame,
        *,
        format: Optional[Format] = ...,
    ) -> None: ...
    def score(
        self,
        blob: Sequence[int],
        mask: MaskIn,
        frame: AnyFrame,
        *,
        format: Optional[Format] = ...,
    ) -> float: ...
    def search(
        self,
        blob: Sequence[int],
        mask: MaskIn,
        frame: AnyFrame,
        predicted_centre: Sequence[float],
        expected_size: Sequence[float],
        *,
        format: Optional[Format] = ...,
        tag: int = ...,
    ) -> BlobScore: ...
    def bands(self, size: Sequence[int]) -> NDArray[np.uint32]: ...
    def __copy__(self) -> Appearance: ...
    def __deepcopy__(self, memo: Any) -> Appearance: ...

def solve(costs: NDArray[Any]) -> tuple[NDArray[np.intp], NDArray[np.intp]]: ...
def mark_pairs(costs: NDArray[Any]) -> NDArray[np.uint8]: ...

class LabelCollapser:
    @overload
    def __init__(self) -> None: ...
    @overload
    def __init__(self, labels: Sequence[str], collapse: Callable[[str], str]) -> None: ...
    def process(self, label: int) -> int: ...

Box = tuple[float, float, float, float]
Cells = Union[NDArray[np.uint8], NDArray[np.bool_]]

class Object:
    @property
    def id(self) -> int: ...
    @property
    def box(self) -> Box: ...
    @property
    def kind(self) -> Kind: ...
    @property
    def visibility(self) -> Visibility: ...
    @property
    def confirmed(self) -> bool: ...
    @property
    def standing(self) -> bool: ...
    @property
    def confidence(self) -> float: ...
    @property
    def label(self) -> int: ...

class Event:
    @property
    def type(self) -> EventType: ...
    @property
    def id(self) -> int: ...
    @property
    def box(self) -> Box: ...

class Tracks:
    def __len__(self) -> int: ...
    def __getitem__(self, index: int) -> Object: ...
    def __iter__(self) -> Iterator[Object]: ...
    @property
    def ids(self) -> NDArray[np.int64]: ...
    @property
    def boxes(self) -> NDArray[np.float32]: ...
    @property
    def states(self) -> NDArray[np.uint8]: ...
    @property
    def kinds(self) -> NDArray[np.uint8]: ...
    @property
    def confidences(self) -> NDArray[np.float32]: ...
    @property
    def labels(self) -> NDArray[np.int64]: ...
    @property
    def confirmed(self) -> NDArray[np.bool_]: ...
    @property
    def standing(self) -> NDArray[np.bool_]: ...
    @property
    def events(self) -> list[Event]: ...
    @property
    def time(self) -> float: ...
    @property
    def times(self) -> dict[str, float]: ...

class Tracker:
    def __init__(
        self,
        *,
        frames_per_second: float = ...,
        threshold: float = ...,
        threshold_factor: float = ...,
        minimum_height: float = ...,
        minimum_static_side: float = ...,
        confirmation_time: float = ...,
        maximum_occlusion: float = ...,
        maximum_age: float = ...,
        gate: float = ...,
        stationary_time: float = ...,
        hold_on_time: float = ...,
        exclude: Optional[Cells] = ...,
        freeze: Optional[Cells] = ...,
        reset: Optional[Cells] = ...,
    ) -> None: ...
    @property
    def frames_per_second(self) -> float: ...
    def update(
        self,
        frame: AnyFrame,
        time: Optional[float] = ...,
        *,
        detections: Optional[NDArray[Any]] = ...,
        format: Optional[Format] = ...,
    ) -> Tracks: ...
    def forget_objects(self) -> None: ...
    def reset(self) -> None: ...

class Smoother:
    def __init__(self, delay: int = ..., smoothing: int = ...) -> None: ...
    def push(self, tracks: Tracks) -> Optional[Tracks]: ...
    def pop(self) -> Optional[Tracks]: ...

class Count:
    @property
    def type(self) -> CountType: ...
    @property
    def name(self) -> str: ...
    @property
    def id(self) -> int: ...
    @property
    def time(self) -> float: ...
    @property
    def place(self) -> tuple[float, float]: ...
    @property
    def dwell(self) -> float: ...

class Counter:
    def __init__(
        self,
        lines: Mapping[str, Sequence[float]] = ...,
        zones: Mapping[str, Sequence[Sequence[float]]] = ...,
        *,
        settling_time: float = ...,
        maximum_age: float = ...,
        margin: float = ...,
    ) -> None: ...
    def process(self, tracks: Tracks) -> list[Count]: ...
    def finish(self) -> list[Count]: ...
    def inside(self, zone: str) -> list[int]: ...

class Boxes:
    def __init__(
        self,
        frames: Union[NDArray[np.integer[Any]], Sequence[int]],
        ids: Union[NDArray[np.integer[Any]], Sequence[int]],
        boxes: Union[NDArray[Any], Sequence[Sequence[float]]],
        confidences: Optional[Union[NDArray[Any], Sequence[float]]] = ...,
    ) -> None: ...
    def __len__(self) -> int: ...
    @property
    def frames(self) -> NDArray[np.int64]: ...
    @property
    def ids(self) -> NDArray[np.int64]: ...
    @property
    def boxes(self) -> NDArray[np.float32]: ...
    @property
    def confidences(self) -> NDArray[np.float32]: ...
    @property
    def labels(self) -> list[str]: ...

class Scores:
    @property
    def mota(self) -> Optional[float]: ...
    @property
    def idf1(self) -> Optional[float]: ...
    @property
    def precision(self) -> Optional[float]: ...
    @property
    def recall(self) -> Optional[float]: ...
    @property
    def true_boxes(self) -> int: ...
    @property
    def result_boxes(self) -> int: ...
    @property
    def matches(self) -> int: ...
    @property
    def misses(self) -> int: ...
    @property
    def false_positives(self) -> int: ...
    @property
    def switches(self) -> int: ...

def read_mot(path: Union[str, PathLike[str]]) -> Boxes: ...
def evaluate(
    truth: Boxes, tracks: Boxes, *, first: Optional[int] = ..., last: Optional[int] = ...
) -> Scores: ...
