#include "module/FramePacer.h"

#include <algorithm>

namespace engine::graphics {

namespace {

using Seconds = std::chrono::duration<double>;

FrameClock::Duration period_of(double fps) {
    return fps > 0.0 ? std::chrono::duration_cast<FrameClock::Duration>(Seconds(1.0 / fps))
                     : FrameClock::Duration::zero();
}

}  // namespace

FramePacer::FramePacer(double fps, FrameClock::Duration start)
    : period_(period_of(fps)), started_(start), due_(start + period_), dt_(fps > 0.0 ? 1.0 / fps : 1.0 / 60.0) {}

void FramePacer::next_frame(FrameClock& clock) {
    if (period_ != FrameClock::Duration::zero()) {
        const FrameClock::Duration now = clock.now();
        if (now < due_)
            clock.sleep_until(due_);
        else if (now - due_ > period_)
            due_ = now;
        due_ += period_;
    }
    const FrameClock::Duration now = clock.now();
    dt_ = std::min(Seconds(now - started_).count(), longest_step);
    started_ = now;
}

}  // namespace engine::graphics
