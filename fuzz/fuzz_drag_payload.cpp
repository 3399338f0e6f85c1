// Dragged entries dropped on the projects tree: the bytes may come from any program.
#include "FuzzInput.h"
#include "verrin/EntriesDragPayload.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    EntriesDragPayload payload;
    payload.decode(fuzzBytes(data, size));
    return 0;
}
