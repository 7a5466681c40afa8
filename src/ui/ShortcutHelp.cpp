#include "ShortcutHelp.h"

#include "model/PhotoModel.h"
#include "model/Wording.h"

#include <QKeySequence>

using namespace Qt::StringLiterals;

namespace kestrava {

namespace {

ShortcutKey key(const QString& keys, const QString& action)
{
    return {keys, action};
}

ShortcutSection section(const QString& title, const QList<ShortcutKey>& keys)
{
    return {title, keys};
}

} // namespace

QString ShortcutHelp::fileMenuTitle() { return u"&Datei"_s; }
QString ShortcutHelp::editMenuTitle() { return u"&Bearbeiten"_s; }
QString ShortcutHelp::helpMenuTitle() { return u"&Hilfe"_s; }
QString ShortcutHelp::undoText() { return u"Rückgängig"_s; }
QString ShortcutHelp::auditText() { return u"Prüfliste"_s; }
QString ShortcutHelp::shortcutsText() { return u"Tastenkürzel"_s; }
QString ShortcutHelp::aboutText() { return u"Über Kestrava"_s; }
QString ShortcutHelp::closeText() { return u"Schließen"_s; }

QString ShortcutHelp::aboutTitle()
{
    return u"Kestrava "_s + QStringLiteral(KESTRAVA_VERSION);
}

QString ShortcutHelp::aboutDescription()
{
    return u"Fotos sichten, entscheiden und sicher ordnen – JPEG und RAW bleiben zusammen, nichts wird endgültig gelöscht."_s;
}

QString ShortcutHelp::shortcutText(const QVariant& sequence)
{
    QKeySequence keys;
    if (sequence.metaType().id() == QMetaType::QKeySequence)
        keys = sequence.value<QKeySequence>();
    else if (sequence.metaType().id() == QMetaType::QString)
        keys = QKeySequence::fromString(sequence.toString());
    else if (sequence.canConvert<int>() && sequence.isValid())
        keys = QKeySequence(QKeySequence::StandardKey(sequence.toInt()));
    return keys.toString(QKeySequence::NativeText);
}

QList<ShortcutSection> ShortcutHelp::shortcuts()
{
    const auto decisionLabel = [](PhotoDecision decision) { return kestrava::decisionLabel(decision); };
    return {
        section(u"Beim Sichten"_s,
                {key(u"↑"_s, decisionLabel(PhotoDecision::keep)),
                 key(u"→"_s, decisionLabel(PhotoDecision::maybe)),
                 key(u"↓"_s, decisionLabel(PhotoDecision::del)),
                 key(u"← oder Strg+Z"_s, u"Letzte Entscheidung zurücknehmen"_s),
                 key(u"Z"_s, u"Zwischen Einpassen und 100 % wechseln"_s),
                 key(u"S"_s, u"Serie entscheiden: schärfste Aufnahme behalten, offene andere aussortieren"_s),
                 key(u"C"_s, u"Vergleich: Favorit links, nächste offene Aufnahme rechts; Pfeiltasten entscheiden rechts, ← nimmt dort zurück"_s),
                 key(u"F"_s, u"Im Vergleich: rechte Aufnahme wird Favorit"_s),
                 key(u"Esc"_s, u"Vergleich schließen"_s),
                 key(u"P"_s, u"Scharfe Kanten hervorheben (Fokus-Peaking) ein oder aus"_s),
                 key(u"I"_s, u"Bilddetails ein- oder ausblenden"_s)}),
        section(u"In der Prüfliste"_s,
                {key(u"↑ ↓"_s, u"Zeile wählen"_s),
                 key(u"1 · 2 · 3"_s, decisionLabel(PhotoDecision::keep) + u" · "_s + decisionLabel(PhotoDecision::maybe)
                                         + u" · "_s + decisionLabel(PhotoDecision::del)),
                 key(u"Eingabetaste"_s, u"Foto groß zeigen"_s),
                 key(u"Strg+F"_s, u"Suchen"_s)}),
        section(u"Überall"_s,
                {key(u"Strg+S"_s, u"Sitzung sichern"_s),
                 key(u"Strg+O"_s, u"Sitzung laden"_s),
                 key(u"Strg+Q"_s, u"Beenden"_s),
                 key(u"F1"_s, shortcutsText()),
                 key(u"F10"_s, u"Menü öffnen"_s),
                 key(u"Alt+D · Alt+B · Alt+H"_s, u"Menü Datei, Bearbeiten oder Hilfe öffnen"_s)}),
    };
}

} // namespace kestrava
