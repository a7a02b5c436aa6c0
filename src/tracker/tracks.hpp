// Tracks: the life of every track, from its start through being seen, unseen and at rest to its
// end.
#pragma once

#include <vector>

#include <kes/tracker/tracker.hpp>

#include "tracker/geometry.hpp"
#include "tracker/grid.hpp"
#include "tracker/scene_model.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

struct TrackEvent {
    EventType type;
    int id;
    Pose pose;
};

class Tracks {
public:
    // scene: of this tracker, and outlives this.
    Tracks(Options const& settings, SceneModel const& learnt) : options(settings), scene(learnt) {}

    // Forgets all tracks; frames have this grid from here on.
    void Begin(Grid const& frames);

    std::vector<Track>& All() { return tracks; }
    std::vector<Track> const& All() const { return tracks; }
    int NewId() { return nextId++; }

    // Puts each track where its motion leads.
    void Predict();

    // Exactly one of these for each track of a frame: it was found on foreground, at the cell that
    // its state says; it was not; a detector's box was found to be it; none was.
    void NoteSeen(Track& track);
    void NoteUnseen(Track& track);
    void NoteDetected(Track& track, Pose const& seen, float confidence);
    void NoteUndetected(Track& track);

    // After that, of all tracks: who is alone, who has come to rest, and who moves on.
    void NoteAlone();
    void NoteRest();

    // Starts a track; its reference is good until the next one starts.
    Track& Start(Pose const& pose);
    // A track that was unseen is found again.
    void Resume(Track& track, Pose const& pose);
    // Ends what has left, what is unseen for too long, and the younger of two on one object.
    void End();

    // Ends one that turned out to be part of another.
    void Remove(int id);

    // What has happened since the last call.
    std::vector<TrackEvent> TakeEvents();

private:
    double FramesIn(double seconds) const { return seconds * options.framesPerSecond; }
    void Resize(Track& track) const;
    void Correct(Track& track, float deviation);
    bool IsInFrame(Box const& box, float margin) const;
    bool IsOver(Track const& track) const;
    bool IsDouble(Track const& track) const;
    void Tell(EventType type, Track const& track);

    Options const& options;
    SceneModel const& scene;
    Grid grid;
    std::vector<Track> tracks;
    std::vector<TrackEvent> events;
    int nextId = 1;
};

}  // namespace kes::tracker
