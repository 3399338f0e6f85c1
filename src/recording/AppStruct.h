#pragma once

#include <QIcon>
#include <QString>

// One probed application: what the recorder saw in front. The path is the application's key.
struct AppStruct
{
    QString productName;
    QString path;
    QString name;
    QString title;
    QIcon icon;
};
