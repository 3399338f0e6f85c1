#pragma once

#include <QString>

class Prompter;
class QNetworkAccessManager;

// Asks the service for the signed-in user's catalogue ("verrin.projects.findByUser" with task lists
// and tasks). Network and service errors are shown through the prompter by the transport.
namespace CatalogueFetch {

// The reply text, whatever it holds, goes to `reply`; true when the call went through and the
// reply's status is "ok". Without a sign-in (Registry::isLoggedIn()) nothing is asked.
bool fetch(QNetworkAccessManager* manager, Prompter* prompter, QString* reply);

// For runs without the projects tree: fetches the catalogue and keeps it in the registry, parsed,
// with the five maps that name what entries are linked to. On failure `error` says why and the
// registry is left as it was.
bool loadIntoRegistry(QNetworkAccessManager* manager, Prompter* prompter, QString* error);

} // namespace CatalogueFetch
