#include "dialogs/UpdatePresenter.h"

#include <QMessageBox>
#include <QProgressDialog>

UpdatePresenter::UpdatePresenter(UpdateChecker* checker, QWidget* parentWindow)
    : QObject(checker), checker(checker), parentWindow(parentWindow)
{
    connect(checker, &UpdateChecker::checkingStarted, this, &UpdatePresenter::showProgress);
    connect(checker, &UpdateChecker::finished, this, &UpdatePresenter::show);
}

void UpdatePresenter::showProgress()
{
    if (!progress) {
        progress = new QProgressDialog(QStringLiteral("Checking for updates..."), QStringLiteral("Cancel"), 0, 0,
                                       parentWindow);
        progress->setObjectName(QStringLiteral("updateProgress"));
        progress->setWindowTitle(QStringLiteral("Software Update"));
        progress->setMinimumDuration(0);
        connect(progress, &QProgressDialog::canceled, checker, &UpdateChecker::cancel);
    }
    progress->show();
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
    if (progress) {
        progress->deleteLater();
        progress = nullptr;
    }
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
