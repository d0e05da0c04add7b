#include "portable/portable_thread.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

struct job {
    std::atomic<bool> released{false};
    int ended = 0;
};

void end_when_released(void* argument) {
    job& at_hand = *static_cast<job*>(argument);
    while (!at_hand.released)
        ::usleep(1000);
    ++at_hand.ended;
}

TEST(portable_thread, is_waited_for_and_started_again) {
    job at_hand;
    {
        kest::portable_thread thread;
        thread.wait();
        thread.start(end_when_released, &at_hand);
        EXPECT_FALSE(thread.check_finished());
        at_hand.released = true;
        thread.wait();
        EXPECT_EQ(at_hand.ended, 1);
        EXPECT_TRUE(thread.check_finished());
        thread.start(end_when_released, &at_hand);
    }
    EXPECT_EQ(at_hand.ended, 2);
}

}  // namespace
