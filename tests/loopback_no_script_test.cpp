// The loopback of a build without scripts.

#include "platform.h"

namespace {

TEST_F(Platform, SaysThatItWasBuiltWithoutScripts) {
  EXPECT_EQ(complaintOf(TARN_STATUS_SCRIPT, [] { return TarnLoopback_setScript("script.json"); }),
            "tarn_loopback: script.json: the loopback was built without scripts, which need "
            "nlohmann-json3-dev\n");
  EXPECT_EQ(send(), 0u) << "nothing has changed";
}

}  // namespace
