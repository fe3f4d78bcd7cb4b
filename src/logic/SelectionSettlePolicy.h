#pragma once

#include <algorithm>

namespace tessiva {

// When to read Logic's selection after a click or an arrow key.
//
// Logic 12 publishes a changed selection about 0.3–0.35 s after the gesture and often posts no
// notification at all, so the gesture itself starts the reads, and they go on until the selection
// differs from the one Logic showed before or the window after the last gesture ends. Each read
// costs Logic main-thread time, so reads are sparse before the lag Logic has recently shown,
// dense (every 50 ms) around it, and sparse again after. The lag is learned from the gestures
// answered so far; older Logic answers at once and the estimate falls to zero. Pure.
struct SelectionSettlePolicy {
    // The first read after a click: the probe window of the modal gesture guard.
    double firstClickRead = 0.1;
    double denseInterval = 0.05;
    double sparseInterval = 0.1;
    // Dense reads start this long before the expected lag and last this long after it.
    double denseLead = 0.05;
    double denseTail = 0.3;
    // No read this long after the last gesture; comfortably past the 0.6 s a busy Logic takes.
    double window = 1.2;
    double learningRate = 0.3;
    double maxLag = 0.8;

    // Delay from now until the next read, `elapsed` seconds after the oldest unanswered gesture.
    double nextReadDelay(double elapsed, double expectedLag) const {
        const double denseStart = expectedLag - denseLead;
        if (elapsed < denseStart - 1e-9)
            return std::max(denseInterval, denseStart - elapsed);
        if (elapsed <= expectedLag + denseTail)
            return denseInterval;
        return sparseInterval;
    }

    // The lag estimate after a gesture was answered `observed` seconds after it; the change
    // happened somewhere within the last read interval, so half of it is taken off.
    double learnedLag(double current, double observed, double interval) const {
        const double sample = std::clamp(observed - interval / 2, 0.0, maxLag);
        return current + learningRate * (sample - current);
    }
};

}  // namespace tessiva
