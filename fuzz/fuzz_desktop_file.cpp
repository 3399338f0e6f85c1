// Desktop files: anything an installed package or the user put into an applications folder.
#include "FuzzInput.h"
#include "platform/DesktopEntryIndex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    DesktopEntry entry;
    desktop_file::parseData(bytes, QStringLiteral("/usr/share/applications/fuzz.desktop"), &entry);
    const QString text = QString::fromUtf8(bytes);
    desktop_file::splitExec(text);
    desktop_file::execProgram(text);
    desktop_file::launchedDesktopFile(bytes, 42);
    return 0;
}
