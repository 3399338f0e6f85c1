// The update feed, as downloaded from wherever the feed address points.
#include "FuzzInput.h"
#include "updates/UpdateChecker.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    UpdateChecker::parseFeed(fuzzBytes(data, size), QVersionNumber(1, 0, 10));
    return 0;
}
