// Names for recipients that have none of their own: "New Recipient", then
// "New Recipient1", "New Recipient2", ... until no record carries the name.
#pragma once

#include "core/iab.h"

#include <string>

// The n-th candidate of a base name: the base itself for round 0, the base
// followed by the round number after that ("%s%d").
std::wstring NameCandidate(const std::wstring& base, unsigned round);

// Whether any record has exactly this name (case-sensitive).
bool HasRecordNamed(const RecipientList& records, const std::wstring& name);

// The first candidate of the base that no record has.
std::wstring UniqueRecipientName(const std::wstring& base, const RecipientList& records);
