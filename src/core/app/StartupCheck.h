#pragma once

#include <QDate>
#include <QString>

class Prompter;

// Before the window records anything: is the database usable and can the settings be saved? When
// not, the user hears exactly what is wrong and where, and the files stay as they are. A damaged
// database can be moved aside (renamed with the date) so that a fresh one starts; otherwise the
// program quits rather than record into nothing.
class StartupCheck
{
public:
    struct Paths
    {
        QString folder;
        QString database;
        QString ini;
    };

    // True to go on starting, false to quit.
    static bool run(const Paths& paths, Prompter* prompter, const QDate& today);
    // Where a damaged database goes: "<file>.damaged-yyyy-MM-dd", with "-2", "-3"... when taken.
    static QString asideName(const QString& database, const QDate& today);
    // The one line a start without any display prints before quitting with status 2; empty when a
    // window can be shown (an X11 or Wayland display, or a platform plugin chosen explicitly).
    static QString noDisplayMessage(const QString& display, const QString& waylandDisplay, const QString& qpaPlatform);
};
