#pragma once

#include "store/Database.h"

#include <QString>

// The data folder as the command-line requests use it, without a window: the settings file read into
// the registry and the database opened. Unlike the window, it never asks for settings on a first
// run: a folder the program has not set up yet is reported instead.
class HeadlessDataFolder
{
public:
    // Reads the INI file of the data folder into the registry (with the user agent the service
    // calls send). False, with the reason, when there is no settings file.
    bool readSettings(QString* error);
    // Adds the password and token the keyring keeps for this data folder to the registry (after
    // readSettings). Moves nothing: the settings file belongs to the window. When they cannot be
    // had, says why in plain words (the keyring unreachable, e.g. from cron without a session bus),
    // else returns an empty text.
    QString readCredentials();
    // Opens the database of the data folder on the default connection.
    bool openDatabase(QString* error);

private:
    Database database;
};
