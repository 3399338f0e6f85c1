// Replies of the Verrin service: any bytes as the reader of replies and the catalogue reader see them.
#include "FuzzInput.h"
#include "verrin/ProjectsCatalogue.h"
#include "verrin/ServiceXml.h"

#include <QDomDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(fuzzBytes(data, size));
    QDomDocument document;
    QString error;
    servicexml::load(text, document, &error);
    servicexml::status(text);
    Catalogue catalogue;
    if (ProjectsCatalogue::parse(text, catalogue, &error)) {
        ProjectsCatalogue::buildMaps(catalogue);
        catalogue.openTasksOnly();
    }
    ProjectsCatalogue::addedTaskId(text, &error);
    ProjectsCatalogue::addedTaskListId(text, &error);
    return 0;
}
