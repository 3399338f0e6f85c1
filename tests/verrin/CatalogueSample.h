#pragma once

// What the verrin widget tests share: the sample catalogue, the widgets they reach into, and finders.
#include "TestKit.h"
#include "TestTools.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ProjectsTree.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidgetItemIterator>

// The sample catalogue as the transport hands it over: the reply's bytes, one character each.
inline QString sampleCatalogueReply()
{
    return QString::fromLatin1(fileContents(QStringLiteral(VERRIN_SERVICE_TEST_DATA "/catalogue.xml")));
}

inline Catalogue sampleCatalogue()
{
    Catalogue catalogue;
    ProjectsCatalogue::parse(sampleCatalogueReply(), catalogue);
    return catalogue;
}

// The item of the tree with that kind and id, or null.
inline QTreeWidgetItem* itemOf(const ProjectsTree& tree, const QString& kind, int id)
{
    for (QTreeWidgetItemIterator it(const_cast<ProjectsTree*>(&tree)); *it; ++it) {
        if (ProjectsTree::kindOf(*it) == kind && ProjectsTree::idOf(*it) == id)
            return *it;
    }
    return nullptr;
}

// Names of the shown items of one kind, or their ids.
inline QStringList shown(const ProjectsTree& tree, const QString& kind, bool ids = false)
{
    QStringList found;
    for (QTreeWidgetItemIterator it(const_cast<ProjectsTree*>(&tree)); *it; ++it) {
        if (ProjectsTree::kindOf(*it) == kind)
            found << (ids ? QString::number(ProjectsTree::idOf(*it)) : (*it)->text(0));
    }
    return found;
}

inline QStringList comboTexts(const QComboBox* combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}

inline void press(QWidget* dialog, QDialogButtonBox::StandardButton which)
{
    dialog->findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"))->button(which)->click();
}
