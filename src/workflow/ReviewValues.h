#pragma once

// What the review publishes about its current group and its last decision, as typed values:
// QML reads their members by name and qmllint checks them. A decision is its `Decision` number,
// -1 for none; the words beside it are finished here, never assembled in QML.

#include <QMetaType>
#include <QString>

namespace kestrava {

// The group on screen; every member empty (and `decision` -1) without one.
struct CurrentGroup {
    Q_GADGET
    Q_PROPERTY(QString id MEMBER id)
    Q_PROPERTY(QString fileName MEMBER fileName)
    Q_PROPERTY(QString previewPath MEMBER previewPath)
    Q_PROPERTY(int decision MEMBER decision)
    Q_PROPERTY(QString decisionLabel MEMBER decisionLabel)
    Q_PROPERTY(QString detailText MEMBER detailText)

public:
    QString id;
    QString fileName;
    QString previewPath;
    int decision = -1;
    QString decisionLabel;
    // "<folder>  ·  1,6 MB  ·  2 Dateien".
    QString detailText;
    friend bool operator==(const CurrentGroup&, const CurrentGroup&) = default;
};

// The overlay after a decision; `id` is empty while none is shown.
struct FeedbackValue {
    Q_GADGET
    Q_PROPERTY(QString id MEMBER id)
    Q_PROPERTY(int decision MEMBER decision)
    Q_PROPERTY(QString title MEMBER title)

public:
    QString id;
    int decision = -1;
    QString title;
    friend bool operator==(const FeedbackValue&, const FeedbackValue&) = default;
};

} // namespace kestrava
