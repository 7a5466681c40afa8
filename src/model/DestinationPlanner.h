#pragma once

// Turns sort options and a photo into the folder the photo lands in, and names the result
// folder of a run. Pure computation except the existence test of uniqueRunFolder.

#include "PhotoModel.h"
#include "SortOptions.h"

#include <functional>

namespace kestrava::DestinationPlanner {

// Answers whether anything (file, folder, link) exists at a path; injected so tests need no disk.
using ExistsFunction = std::function<bool(const QString& path)>;
bool existsOnDisk(const QString& path);

// "/", ":" and NUL become "-", whitespace trimmed, at most 100 user-perceived characters.
QString sanitize(const QString& text);

// "Kestrava – <event>" or, without an event, "Kestrava – yyyy-MM-dd HH-mm" in local time.
QString suggestedRunName(const QString& eventName, const QDateTime& now);

// base/name, or base/"name N" for the first free N from 2; never an existing folder.
FileUrl uniqueRunFolder(const FileUrl& base, const QString& preferredName,
                        const ExistsFunction& exists = existsOnDisk);

// Format / event / year / year-month / decision / category, joined with "/". The order is
// fixed: resuming an interrupted run recomputes destinations and must find the same paths.
QString relativeDirectory(const PhotoItem& item, const SortOptions& options);

// "Behalten", "Prüfen", "Aussortiert": the result folder of each decision.
QString decisionFolderName(PhotoDecision decision);
QString formatFolderName(PhotoFormatGroup group);

} // namespace kestrava::DestinationPlanner
