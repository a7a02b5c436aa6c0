"""Tracker, Smoother, follow and Counter on a made-up street."""

import threading

import numpy as np
import pytest

import kes_tracking as kes

TIMES = {"confirmation_time": 0.3, "frames_per_second": 10}


def street(frames=90):
    """A dark figure walks from left to right over a grey ground, from frame 30 on."""
    random = np.random.default_rng(6)
    ground = random.integers(120, 136, (240, 320, 3), np.uint8)
    for i in range(frames):
        frame = ground + random.integers(0, 3, ground.shape, np.uint8)
        if i >= 30:
            x = 4 * (i - 30)
            frame[100:170, x : x + 30] = (30, 40, 20)
        yield frame


def walk(tracker, **options):
    return [tracker.update(frame, **options) for frame in street()]


def told(results):
    return [(t.ids.tolist(), t.boxes.tolist(), t.states.tolist(), t.time) for t in results]


def test_objects_and_arrays_say_the_same():
    results = walk(kes.Tracker(**TIMES))
    assert not results[29] and not len(results[29]) and results[29].boxes.shape == (0, 4)
    tracks = results[60]
    walker = tracks[0]
    assert len(tracks) == 1 and walker.confirmed and not walker.standing
    assert walker.visibility is kes.Visibility.VISIBLE and walker.kind is kes.Kind.MOVER
    left, top, right, bottom = walker.box
    assert abs(left - 120) < 10 and abs(right - 150) < 10
    assert abs(top - 100) < 10 and abs(bottom - 170) < 10
    np.testing.assert_array_equal(tracks.boxes, np.float32([walker.box]))
    np.testing.assert_array_equal(tracks.confidences, np.float32([walker.confidence]))
    assert tracks.ids.tolist() == [walker.id] and tracks.labels.tolist() == [walker.label]
    assert tracks.states.tolist() == [kes.Visibility.VISIBLE] and tracks.confirmed.all()
    assert [item.id for item in tracks] == [tracks[-1].id]
    with pytest.raises(IndexError):
        tracks[1]
    assert tracks.time == 6.0 and set(tracks.times) > {"total"}
    events = [event for result in results for event in result.events]
    assert [event.type for event in events][0] is kes.EventType.ARRIVED
    assert repr(events[0]).startswith(f"Event(ARRIVED, id={events[0].id}, box=(")


def test_layouts_masks_and_times():
    expected = told(walk(kes.Tracker(**TIMES)))
    tracker = kes.Tracker(**TIMES)
    flipped = (np.ascontiguousarray(frame[::-1])[::-1] for frame in street())
    assert told(tracker.update(frame) for frame in flipped) == expected
    rgb = (np.ascontiguousarray(frame[..., ::-1]) for frame in street())
    tracker.reset()
    assert told(tracker.update(frame, format="rgb") for frame in rgb) == expected

    nowhere = kes.Tracker(**TIMES, exclude=np.ones((120, 160), bool))
    assert not any(walk(nowhere))
    assert tracker.update(next(street()), 100.5).time == 100.5
    with pytest.raises(ValueError, match="not before that of the last frame"):
        tracker.update(next(street()), 100)


def test_forgets():
    tracker = kes.Tracker(**TIMES)
    first = walk(tracker)
    tracker.forget_objects()
    again = walk(tracker)
    # The ground is known, so that the figure counts no later than before.
    arrivals = [[len(t) > 0 for t in results].index(True) for results in (first, again)]
    assert arrivals[1] <= arrivals[0]
    assert min(t.ids.min() for t in again if t) == 1
    tracker.reset()
    assert told(walk(tracker)) == told(first)


def test_detections():
    tracker = kes.Tracker(**TIMES)
    blank = np.zeros((240, 320, 3), np.uint8)
    for i in range(20):
        rows = [[4 * i, 100, 4 * i + 30, 170, 0.9, 3], [200, 50, 220, 100, 0.9, 1]]
        tracks = tracker.update(blank, detections=np.array(rows))
    np.testing.assert_allclose(tracks.boxes, [row[:4] for row in rows], atol=6)
    assert tracks.labels.tolist() == [3, 1] and tracks.confirmed.all()
    assert len(kes.Tracker().update(blank, detections=np.empty((0, 4)))) == 0
    for wrong in (np.zeros(4), np.zeros((1, 3)), np.zeros((1, 4), complex)):
        with pytest.raises(ValueError, match="left, top, right, bottom"):
            tracker.update(blank, detections=wrong)
    with pytest.raises(ValueError, match="label that is negative"):
        tracker.update(blank, detections=np.full((1, 6), -1.0))


@pytest.mark.parametrize(
    "options", [{"frames_per_second": 0}, {"maximum_age": -1}, {"exclude": np.zeros(3, bool)}]
)
def test_refuses_options(options):
    with pytest.raises(ValueError):
        kes.Tracker(**options)


class Capture:
    """What cv2.VideoCapture does."""

    def __init__(self, frames):
        self.frames = iter(frames)
        self.position = -0.1

    def read(self):
        frame = next(self.frames, None)
        self.position += 0.1
        return frame is not None, frame

    def get(self, property_id):
        assert property_id == 0  # cv2.CAP_PROP_POS_MSEC
        return 1000 * self.position


@pytest.mark.parametrize("delay", [0, 5, 200])
def test_follow_gives_every_frame_its_tracks(delay):
    seen = list(kes.follow(Capture(street()), kes.Tracker(**TIMES), delay=delay))
    plain = list(kes.follow(street(), kes.Tracker(**TIMES), delay=delay))
    assert len(seen) == len(plain) == 90
    first = [len(tracks) > 0 for _, tracks in seen].index(True)
    assert (first > 33) == (delay == 0)
    for i, ((frame, tracks), (_, same), original) in enumerate(zip(seen, plain, street())):
        np.testing.assert_array_equal(frame, original)
        np.testing.assert_array_equal(tracks.boxes, same.boxes)
        assert tracks.confirmed.all() and tracks.time == pytest.approx(i / 10)
        assert same.time == pytest.approx(i / 10)


def test_counter():
    counter = kes.Counter(
        {"door": (150, 0, 150, 240)}, {"yard": [(60, 0), (250, 0), (250, 240), (60, 240)]}
    )
    counts, inside = [], set()
    for _, tracks in kes.follow(street(), kes.Tracker(**TIMES)):
        counts += counter.process(tracks)
        inside.update(counter.inside("yard"))
    counts += counter.finish()
    crossing = [count for count in counts if count.name == "door"]
    assert [count.type for count in crossing] == [kes.CountType.CROSSED_TO_LEFT]
    assert abs(crossing[0].place[0] - 150) < 10 and abs(crossing[0].time - 6.4) < 1
    assert inside == {crossing[0].id}
    assert {count.type for count in counts} >= {kes.CountType.ENTERED}
    with pytest.raises(KeyError):
        counter.inside("door")
    with pytest.raises(ValueError):
        kes.Counter(lines={"point": (1, 1, 1, 1)})


def test_a_second_thread_in_one_tracker_is_refused():
    tracker = kes.Tracker()
    frames = [np.random.default_rng(i).integers(0, 255, (720, 1280, 3), np.uint8) for i in range(9)]
    thread = threading.Thread(target=lambda: [tracker.update(frame) for frame in frames])
    refusals = 0
    thread.start()
    while thread.is_alive():
        try:
            tracker.forget_objects()
        except RuntimeError:
            refusals += 1
    assert refusals > 0
