#include "dialogs/AboutDialog.h"

#include "app/DataPaths.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("AboutDialog"));
    setWindowTitle(QStringLiteral("About"));
    auto* layout = new QVBoxLayout(this);

    auto* logo = new QLabel;
    logo->setObjectName(QStringLiteral("labelLogo"));
    logo->setPixmap(QPixmap(QStringLiteral(":/icons/res/logo.png")));
    logo->setAlignment(Qt::AlignCenter);
    layout->addWidget(logo);

    auto* product = new QLabel(QStringLiteral("Verrin Plus ") + QStringLiteral(VERRIN_VERSION));
    product->setObjectName(QStringLiteral("labelProduct"));
    QFont big = product->font();
    big.setPointSizeF(big.pointSizeF() * 1.4);
    big.setBold(true);
    product->setFont(big);
    product->setAlignment(Qt::AlignCenter);
    layout->addWidget(product);

    auto* build =
        new QLabel(QStringLiteral("Built on %1 at %2").arg(QStringLiteral(__DATE__), QStringLiteral(__TIME__).left(5)));
    build->setAlignment(Qt::AlignCenter);
    layout->addWidget(build);

    auto* check =
        new QPushButton(QIcon(QStringLiteral(":/icons/res/sparkle.png")), QStringLiteral("Check for Updates..."));
    check->setObjectName(QStringLiteral("btnCheckForUpdates"));
    connect(check, &QPushButton::clicked, this, &AboutDialog::on_btnCheckForUpdates_clicked);
    layout->addWidget(check, 0, Qt::AlignCenter);

    auto* maker = new QLabel(QStringLiteral("A desktop companion for the Verrin time-tracking service."));
    maker->setAlignment(Qt::AlignCenter);
    layout->addWidget(maker);
    auto* link = new QLabel(QStringLiteral("<a href=\"https://www.verrin.com/\">www.verrin.com</a>"));
    link->setOpenExternalLinks(true);
    link->setAlignment(Qt::AlignCenter);
    layout->addWidget(link);

    auto* files = new QLabel(filesText());
    files->setObjectName(QStringLiteral("label_files"));
    files->setTextInteractionFlags(Qt::TextSelectableByMouse);
    files->setWordWrap(true);
    layout->addWidget(files);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok);
    buttons->setObjectName(QStringLiteral("buttonBox"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    layout->addWidget(buttons);
}

QString AboutDialog::filesText()
{
    return QStringLiteral("INI File:\n") + DataPaths::iniFile() + QStringLiteral("\nSQLite File:\n") +
           DataPaths::databaseFile();
}

void AboutDialog::on_btnCheckForUpdates_clicked()
{
    emit checkForUpdates();
}
