#pragma once

#include <QDateTime>

// The C library checks the zone file (/etc/localtime) on every conversion to local time when TZ is
// unset: five file-system calls on every recorder tick. Naming the file in TZ once makes it read
// the zone once; `followChanges` (cheap, called now and then) picks up a zone the system changed
// meanwhile, as a travelling laptop does.
namespace LocalZone {

// Before any local time is read; leaves a TZ the user set alone.
void readOnce();
// Re-reads the zone when its file changed since the last look; true when it did.
bool followChanges();

} // namespace LocalZone
