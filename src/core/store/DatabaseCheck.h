#pragma once

#include <QString>

// Looks at a database file before the program records into it, on a connection of its own that is
// closed again before it returns. It never changes the file: the write test runs inside a
// transaction that is rolled back, and a file that does not exist yet is not created.
class DatabaseCheck
{
public:
    enum class Verdict
    {
        Usable,      // absent (it will be created), empty, or a VerrinPlus database that takes writes
        Damaged,     // not an SQLite database, damaged, or a database of some other program
        Inaccessible // the file is fine as far as can be seen, but it cannot be read or written here
                     // (permissions, a read-only folder or medium, a lock)
    };
    struct Result
    {
        Verdict verdict = Verdict::Usable;
        QString reason; // the driver's or the check's own words, for the user
    };

    static Result check(const QString& path);
    // Whether a settings file can be (re)written at `path`: the file itself when it exists, and the
    // folder, where the settings are saved through a temporary file that replaces the old one.
    static bool iniWritable(const QString& path, QString* reason);
};
