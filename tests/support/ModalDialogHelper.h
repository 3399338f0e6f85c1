#pragma once

#include <QWidget>

#include <functional>

// Hands the next modal dialog (or message box) to `handler` as soon as it is shown, so a test can
// answer a dialog that a slot opens with exec(). Gives up after `timeoutMs`.
void onNextModal(std::function<void(QWidget*)> handler, int timeoutMs = 10000);

// Drops every handler still waiting, so one test's handler never answers the next test's dialog.
void cancelModalHandlers();
