#pragma once

#include "verrin/ProjectsCatalogue.h"
#include "verrin/ProjectsTree.h"

#include <QComboBox>
#include <QFile>
#include <QString>
#include <QTreeWidgetItemIterator>

// The sample catalogue as the transport hands it over: the reply's bytes, one character each.
inline QString sampleCatalogueReply()
{
    QFile file(QStringLiteral(VERRIN_SERVICE_TEST_DATA "/catalogue.xml"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read the sample catalogue");
    return QString::fromLatin1(file.readAll());
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

inline Catalogue sampleCatalogue()
{
    Catalogue catalogue;
    ProjectsCatalogue::parse(sampleCatalogueReply(), catalogue);
    return catalogue;
}

inline QStringList comboTexts(const QComboBox* combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i)
        texts << combo->itemText(i);
    return texts;
}
