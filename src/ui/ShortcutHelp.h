#pragma once

// The words of the Edit and Help menus, the about box, and the list of every key the windows
// answer to, for the keyboard help. The help lists what the screens and the menus really
// bind; a key added to a screen belongs in `shortcuts()` as well.

#include <QObject>
#include <QList>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

// One key of the keyboard help and what it does.
struct ShortcutKey {
    Q_GADGET
    Q_PROPERTY(QString keys MEMBER keys)
    Q_PROPERTY(QString action MEMBER action)

public:
    QString keys;
    QString action;
    friend bool operator==(const ShortcutKey&, const ShortcutKey&) = default;
};

// One section of the keyboard help: where the keys apply, then the keys.
struct ShortcutSection {
    Q_GADGET
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QList<kestrava::ShortcutKey> keys MEMBER keys)

public:
    QString title;
    QList<ShortcutKey> keys;
    friend bool operator==(const ShortcutSection&, const ShortcutSection&) = default;
};

class ShortcutHelp : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Help)
    QML_SINGLETON
    // Menu titles carry their mnemonic ("&Datei"): Alt with the letter opens the menu.
    Q_PROPERTY(QString fileMenuTitle READ fileMenuTitle CONSTANT)
    Q_PROPERTY(QString editMenuTitle READ editMenuTitle CONSTANT)
    Q_PROPERTY(QString helpMenuTitle READ helpMenuTitle CONSTANT)
    Q_PROPERTY(QString undoText READ undoText CONSTANT)
    Q_PROPERTY(QString auditText READ auditText CONSTANT)
    Q_PROPERTY(QString shortcutsText READ shortcutsText CONSTANT)
    Q_PROPERTY(QString aboutText READ aboutText CONSTANT)
    Q_PROPERTY(QString aboutTitle READ aboutTitle CONSTANT)
    Q_PROPERTY(QString aboutDescription READ aboutDescription CONSTANT)
    Q_PROPERTY(QString closeText READ closeText CONSTANT)
    Q_PROPERTY(QList<kestrava::ShortcutSection> shortcuts READ shortcuts CONSTANT)

public:
    using QObject::QObject;

    static QString fileMenuTitle();
    static QString editMenuTitle();
    static QString helpMenuTitle();
    static QString undoText();
    static QString auditText();
    static QString shortcutsText();
    static QString aboutText();
    // "Kestrava 0.6.3".
    static QString aboutTitle();
    static QString aboutDescription();
    static QString closeText();
    // Sections of the keyboard help, in the order a photographer meets them.
    static QList<ShortcutSection> shortcuts();
    // A menu action's key as the desktop writes it ("Strg+Z" with the German Qt translations
    // loaded); `sequence` is an Action's `shortcut`: a StandardKey or a text. Empty for none.
    Q_INVOKABLE static QString shortcutText(const QVariant& sequence);
};

} // namespace kestrava
