#include "FeedbackText.h"

namespace kestrava::FeedbackText {

QString announcement(PhotoDecision decision, const QString& scope, qsizetype memberCount, bool reviewComplete)
{
    return decisionLabel(decision) + QStringLiteral(", ") + scope + QStringLiteral(", ") + QString::number(memberCount)
        + QStringLiteral(" Dateien. ")
        + (reviewComplete ? QStringLiteral("Auswahl vollständig. Prüfliste wird geöffnet.")
                          : QStringLiteral("Nächstes Foto."));
}

} // namespace kestrava::FeedbackText
