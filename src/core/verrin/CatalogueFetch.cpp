#include "verrin/CatalogueFetch.h"

#include "app/Registry.h"
#include "verrin/ProjectsApi.h"
#include "verrin/ProjectsCatalogue.h"

#include <QDebug>

namespace CatalogueFetch {

bool fetch(QNetworkAccessManager* manager, Prompter* prompter, QString* reply)
{
    if (!Registry::instance()->isLoggedIn()) {
        qDebug() << "abort init projects. not logged in.";
        return false;
    }
    const bool sent = ProjectsApi(manager, prompter).findByUser(reply);
    if (!sent || reply->isEmpty() || !ProjectsCatalogue::isOkReply(*reply)) {
        qDebug() << "error loading projects xml";
        return false;
    }
    return true;
}

bool loadIntoRegistry(QNetworkAccessManager* manager, Prompter* prompter, QString* error)
{
    QString reply;
    if (!fetch(manager, prompter, &reply)) {
        if (error) {
            *error = QStringLiteral("the service did not send the projects catalogue");
        }
        return false;
    }
    Catalogue catalogue;
    QString parseError;
    if (!ProjectsCatalogue::parse(reply, catalogue, &parseError)) {
        if (error) {
            *error = QStringLiteral("the projects catalogue could not be read: ") + parseError;
        }
        return false;
    }
    for (const QString& problem : catalogue.problems) {
        qDebug().noquote() << "catalogue:" << problem;
    }
    ProjectsCatalogue::keep(catalogue);
    return true;
}

} // namespace CatalogueFetch
