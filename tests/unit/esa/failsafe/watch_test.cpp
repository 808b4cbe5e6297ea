#include "watch.h"

#include <csignal>
#include <filesystem>
#include <functional>

#include <fcntl.h>
#include <unistd.h>

#include "child.h"
#include "esa_fixture.h"

namespace {

/** An adapter that only waits, and what its platform library has locked of the device. */
class Watch : public EsaTest {
protected:
    Watch() {
        descriptor_ = open(device_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        onFakeSleep = [this] { next_(++looks_); };
    }
    ~Watch() override {
        onFakeSleep = nullptr;
        close(descriptor_);
    }

    void lock(off_t byte, short kind = F_WRLCK) const {
        struct flock one {};
        one.l_type = kind;
        one.l_start = byte;
        one.l_len = 1;
        EXPECT_EQ(fcntl(descriptor_, F_OFD_SETLK, &one), 0);
    }

    void watch() { watchAdapter(esaFindChassis(VORAN_E_CHASSIS_VORAN_VSC055), device_.c_str(), adapter_.pid()); }

    /** The signal that ended the adapter; 0 when it runs. */
    int ending() { return adapter_.ending().value_or(testsupport::Ending_t{}).signal; }

    const std::string device_ = folder.path("enc-0");
    int descriptor_ = -1;
    testsupport::Child_t adapter_{[] {
        for (;;) {
            pause();
        }
    }};
    int looks_ = 0;
    std::function<void(int look)> next_ = [](int) {};
};

TEST_F(Watch, AdapterThatDrivesTheBusIsLeftAlone) {
    lock(0);
    watch();
    EXPECT_EQ(ending(), 0);
    EXPECT_EQ(looks_, 5);
    EXPECT_TRUE(fakeBus.takeTransfers().empty());
}

TEST_F(Watch, AdapterThatHasNotAskedYetIsWaitedFor) {
    next_ = [this](int look) {
        if (look == 30) {
            lock(0);
        }
    };
    watch();
    EXPECT_EQ(ending(), 0);
    EXPECT_GE(looks_, 35);
    EXPECT_TRUE(fakeBus.takeTransfers().empty());
}

TEST_F(Watch, AdapterThatHadNoAnswerIsEndedWhenTheEnclosureAnswersAtFullSpeed) {
    lock(1);
    fakeBus.failDevice(0x41);
    next_ = [this](int look) {
        EXPECT_EQ(ending(), 0) << "nobody answers yet";
        if (look == 3) {
            (void)fakeBus.takeTransfers();
            fakeBus.heal();
        }
    };
    watch();
    EXPECT_EQ(fakeBus.takeTransfers(), (Lines_t{"W 41 98 3F", "W 41 99 3F", "W 41 9A 3F"}));
    EXPECT_EQ(adapter_.wait().signal, SIGTERM);
}

TEST_F(Watch, DeviceThatIsGoneOrDrivenByAnotherIsLookedAtAgain) {
    lock(1);
    std::filesystem::rename(device_, device_ + ".away");
    next_ = [this](int look) {
        if (look == 2) {
            std::filesystem::rename(device_ + ".away", device_);
            lock(0);
        }
        if (look == 4) {
            EXPECT_TRUE(fakeBus.takeTransfers().empty());
            lock(0, F_UNLCK);
        }
    };
    watch();
    EXPECT_EQ(looks_, 4);
    EXPECT_EQ(fakeBus.takeTransfers().size(), 3U);
}

} // namespace
