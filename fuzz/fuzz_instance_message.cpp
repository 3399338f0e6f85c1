// Lines another process writes to the single-instance socket.
#include "FuzzInput.h"
#include "app/SingleInstance.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SingleInstance::parseLine(QString::fromUtf8(fuzzBytes(data, size)).trimmed());
    return 0;
}
