#pragma once

// The words of the decision feedback: the overlay's scope and the screen-reader announcement.

#include "model/PhotoModel.h"

namespace kestrava::FeedbackText {

// "<label>, <scope>, <count> Dateien. " then "Auswahl vollständig. Prüfliste wird geöffnet."
// when nothing is left undecided, else "Nächstes Foto.". " Dateien" stands for every count,
// 1 included, unlike the overlay's title: a screen reader reads it as written.
QString announcement(PhotoDecision decision, const QString& scopeTitle, qsizetype memberCount, bool reviewComplete);

} // namespace kestrava::FeedbackText
