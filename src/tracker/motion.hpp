// Motion: a constant-velocity Kalman filter for each axis of a track's foot point.
#pragma once

namespace kes::tracker {

// One axis: position and velocity per frame, with their covariance.
class AxisFilter {
public:
    AxisFilter() = default;
    AxisFilter(float start, float positionDeviation, float velocityDeviation)
        : position(start),
          positionVariance(positionDeviation * positionDeviation),
          velocityVariance(velocityDeviation * velocityDeviation) {}

    // One frame on. acceleration is the deviation of the change of speed in one frame.
    void Predict(float acceleration) {
        float const q = acceleration * acceleration;
        position += velocity;
        positionVariance += 2 * covariance + velocityVariance + q / 4;
        covariance += velocityVariance + q / 2;
        velocityVariance += q;
    }

    void Correct(float measured, float deviation) {
        float const innovation = measured - position;
        float const total = positionVariance + deviation * deviation;
        float const positionGain = positionVariance / total;
        float const velocityGain = covariance / total;
        position += positionGain * innovation;
        velocity += velocityGain * innovation;
        velocityVariance -= velocityGain * covariance;
        covariance *= 1 - positionGain;
        positionVariance *= 1 - positionGain;
    }

    // An unseen object is not trusted to keep its speed for ever.
    void Damp(float factor) { velocity *= factor; }

    float Position() const { return position; }
    float PositionVariance() const { return positionVariance; }

private:
    float position = 0;
    float velocity = 0;
    float positionVariance = 0;
    float covariance = 0;
    float velocityVariance = 0;
};

}  // namespace kes::tracker
