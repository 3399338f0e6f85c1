#pragma once

#include <QString>

// The readable HTML description of a stored rule shown in the rules list. Application names come from
// the database, task and project names from the catalogue maps of the registry ("#<id>" when
// unknown). Every part links to "#". Empty when the rule does not exist.
namespace RuleDescription {
QString describe(int ruleId);
}
