#include "platform/Platform.h"

#include <QApplication>
#include <QWidget>

namespace {
// Used until a backend for the running session exists: answers "nothing in front" so nothing wrong
// is ever recorded, and says why.
class UnsupportedPlatform : public Platform
{
public:
    explicit UnsupportedPlatform(QString why) : why(std::move(why)) {}
    bool isSupported() const override { return false; }
    QString unsupportedReason() const override { return why; }
    ForegroundWindow foregroundWindow() override { return {}; }
    int idleSeconds() override { return 0; }
    QIcon iconForPath(const QString&) override { return {}; }
    void hideApplication() override
    {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            w->hide();
        }
    }

private:
    QString why;
};
} // namespace

std::unique_ptr<Platform> createPlatform()
{
    return std::make_unique<UnsupportedPlatform>(QStringLiteral("Recording is not supported in this session yet"));
}
