#include "LarkmoorPlatform/WallClockTimer.h"

#include <utility>

namespace larkmoor {

namespace {

struct Cadence {
    WallClockSource::Duration every;
    WallClockSource::Duration leeway;
    std::function<void()> fire;
};

void scheduleAfter(WallClockSource& source, WallClockSource::Duration delay, const std::shared_ptr<Cadence>& cadence) {
    // The source outlives its callback.
    source.schedule(source.now() + delay, cadence->leeway, [&source, cadence] {
        scheduleAfter(source, cadence->every, cadence);
        cadence->fire();
    });
}

}  // namespace

WallClockTimer::WallClockTimer(std::unique_ptr<WallClockSource> source, Duration firstDelay, Duration every,
                               Duration leeway, std::function<void()> fire)
    : source_(std::move(source)) {
    const auto cadence = std::make_shared<Cadence>(Cadence{.every = every, .leeway = leeway, .fire = std::move(fire)});
    scheduleAfter(*source_, firstDelay, cadence);
}

void WallClockTimer::stop() { source_->cancel(); }

}  // namespace larkmoor
