#include "dialogs/UpdatePresenter.h"

#include <QMessageBox>

UpdatePresenter::UpdatePresenter(UpdateChecker* checker, QWidget* parentWindow)
    : QObject(checker), parentWindow(parentWindow)
{
    connect(checker, &UpdateChecker::finished, this, &UpdatePresenter::show);
}

QString UpdatePresenter::message(const UpdateInfo& info, bool interactive, const QString& currentVersion)
{
    switch (info.status) {
    case UpdateInfo::Status::UpdateAvailable: {
        QString text = QStringLiteral("<p>VerrinPlus %1 is available; you have %2.</p>")
                           .arg(info.version.toHtmlEscaped(), currentVersion.toHtmlEscaped());
        if (!info.releaseNotes.isEmpty()) {
            text +=
                QStringLiteral("<p><a href=\"%1\">What is new in %2</a></p>")
                    .arg(info.releaseNotes.toString(QUrl::FullyEncoded).toHtmlEscaped(), info.version.toHtmlEscaped());
        }
        if (!info.download.isEmpty()) {
            text += QStringLiteral("<p><a href=\"%1\">Download VerrinPlus %2</a></p>")
                        .arg(info.download.toString(QUrl::FullyEncoded).toHtmlEscaped(), info.version.toHtmlEscaped());
        }
        return text;
    }
    case UpdateInfo::Status::UpToDate:
        return interactive ? QStringLiteral("<p>You're up to date!</p><p>VerrinPlus %1 is the newest version "
                                            "available.</p>")
                                 .arg(currentVersion.toHtmlEscaped())
                           : QString();
    case UpdateInfo::Status::Failed:
        return interactive
                   ? QStringLiteral("<p>Could not check for updates.</p><p>%1</p>").arg(info.error.toHtmlEscaped())
                   : QString();
    }
    return QString();
}

void UpdatePresenter::show(const UpdateInfo& info, bool interactive)
{
    const QString text = message(info, interactive, QStringLiteral(VERRIN_VERSION));
    if (text.isEmpty()) {
        return;
    }
    QMessageBox box(info.status == UpdateInfo::Status::Failed ? QMessageBox::Warning : QMessageBox::Information,
                    QStringLiteral("Software Update"), text, QMessageBox::Ok, parentWindow);
    box.setTextFormat(Qt::RichText);
    box.setTextInteractionFlags(Qt::TextBrowserInteraction);
    box.exec();
}
