#pragma once

#include "reports/DayQueries.h"

#include <QDate>
#include <QDialog>

#include <functional>

class QLabel;
class QTreeView;
class TimestampsModel;

// A read-only list of the recorded intervals behind one node of the unlinked tree: when each
// started and ended and how long it lasted.
class TimestampsDialog : public QDialog
{
    Q_OBJECT

public:
    explicit TimestampsDialog(QWidget* parent = nullptr);

    void setDate(const QDate& date) { this->date = date; }
    void setAppPath(const QString& path) { appPath = path; }
    void setTitle(const QString& text) { title = text; }
    // Icon of an application by path (the platform's look-up); the generic icon when not set.
    void setIconProvider(std::function<QIcon(const QString&)> provider) { iconProvider = std::move(provider); }

    void PopulateData();

    QTreeView* list() const { return view; }
    QLabel* dateLabel() const { return labelDate; }

private:
    QDate date;
    QString appPath;
    QString title;
    std::function<QIcon(const QString&)> iconProvider;
    QLabel* labelDate;
    QTreeView* view;
    TimestampsModel* model;
};
