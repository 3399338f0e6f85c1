#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

// The few things the command line can ask for. Anything not recognised is ignored, so desktop
// launchers that pass extra arguments never stop the program from starting.
struct CommandLine
{
    enum class Mode
    {
        Gui,
        Version,
        Help,
        Report,
        ApplyRules,
        CheckLinks,
    };

    Mode mode = Mode::Gui;
    bool debug = false;                      // exactly "-debug": write debug.log in the data folder
    QDate reportDate;                        // --report [yyyy-MM-dd]; today when not given
    QDate reportTo;                          // --report FROM TO: the last day of a range
    QString by;                              // --by day|application|title|task (a range report)
    QString format = QStringLiteral("text"); // --format text|json|csv
    QDate fromDate;                          // --apply-rules / --check-links FROM [TO]
    QDate toDate;
    QString error; // set when a headless mode was asked for with bad values

    // `arguments` includes the program name first, as QCoreApplication::arguments() does.
    static CommandLine parse(const QStringList& arguments, const QDate& today);
    static QString helpText();
};
