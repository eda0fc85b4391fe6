#include "native/feed_driver.h"

#include "bridge/rawinputdriverbase.h"
#include "common/com/shared_state.h"

namespace zeb {

namespace bench {

Feed& driverFeed() {
    static Feed feed;
    return feed;
}

namespace {

class FeedDriver : public RawInputDriverBase {
public:
    using Interfaces = common::TypeList<RawInputDriver>;

    ~FeedDriver() override { releasePointerCapture(); }

    void processInput() override {
        driverFeed().serve([this](std::int32_t n) { dispatchPointerData({{{1, -1}, {n, n}}, {}}); });
        driverFeed().restart();
    }
    void interruptInputThread(uv_thread_t) override { driverFeed().stop(); }
};

}  // namespace

}  // namespace bench

common::ComPtr<RawInputDriver> makeRawInputDriver() {
    return common::makeInstance<bench::FeedDriver, common::ConcurrentRC>();
}

}  // namespace zeb
