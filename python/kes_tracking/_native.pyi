from collections.abc import Callable, Sequence
from typing import Any, Literal, Optional, Union, overload

import numpy as np
from numpy.typing import NDArray

Pixels = NDArray[np.uint8]
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
        frame: Pixels,
        *,
        format: Optional[Format] = ...,
    ) -> None: ...
    def score(
        self,
        blob: Sequence[int],
        mask: MaskIn,
        frame: Pixels,
        *,
        format: Optional[Format] = ...,
    ) -> float: ...
    def search(
        self,
        blob: Sequence[int],
        mask: MaskIn,
        frame: Pixels,
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
