#pragma once

// The decision timeline under the photo: one coloured segment per review group and the
// current group's position, drawn by this one item. Neighbouring groups with the same decision
// share one rectangle, and with more groups than pixels each pixel column shows its majority,
// so 20,000 groups never cost more rectangles than the track has pixels; a decision updates
// the rectangles without creating any item.

#include "ViewModelLink.h"

#include "model/PhotoModel.h"
#include "model/SeriesBuilder.h"

#include "workflow/KestravaViewModel.h"

#include <QColor>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>
#include <optional>

namespace kestrava {




class DecisionTimelineItem : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject* viewModel READ viewModelObject WRITE setViewModelObject NOTIFY viewModelChanged)
    Q_PROPERTY(QColor keepColor MEMBER keepColor_ NOTIFY colorsChanged)
    Q_PROPERTY(QColor maybeColor MEMBER maybeColor_ NOTIFY colorsChanged)
    Q_PROPERTY(QColor deleteColor MEMBER deleteColor_ NOTIFY colorsChanged)
    Q_PROPERTY(QColor openColor MEMBER openColor_ NOTIFY colorsChanged)
    // The band under the segments that marks each series (a burst) from its first to its last group.
    Q_PROPERTY(QColor seriesColor MEMBER seriesColor_ NOTIFY colorsChanged)
    Q_PROPERTY(int count READ count NOTIFY layoutChanged)
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY layoutChanged)
    // Centre of the current group's segment: where the screen places the round thumb.
    Q_PROPERTY(double thumbX READ thumbX NOTIFY layoutChanged)
    Q_PROPERTY(double thumbDiameter READ thumbDiameter CONSTANT)

public:
    // A rectangle of the drawing, in item coordinates, with the decision it shows.
    struct Run {
        double lower = 0;
        double upper = 0;
        std::optional<PhotoDecision> decision;
    };

    explicit DecisionTimelineItem(QQuickItem* parent = nullptr);

    QObject* viewModelObject() const;
    void setViewModelObject(QObject* viewModel);
    int count() const { return int(decisions_.size()); }
    int currentIndex() const { return currentIndex_; }
    double thumbX() const;
    double thumbDiameter() const;

    // The group under x, clamped to the list; -1 without groups.
    Q_INVOKABLE int indexAt(double x) const;
    Q_INVOKABLE QString groupIdAt(int index) const;

    // The rectangles for these decisions across `width`: one per run of equal decisions, one per
    // group with a hairline gap where segments are wide enough to tell apart, or one per run of
    // pixel columns (by majority) where groups are thinner than a pixel.
    static QList<Run> runs(const QList<std::optional<PhotoDecision>>& decisions, double width);
    // (lower, upper) of the band of each series among `count` groups across `width`: from the
    // start of its first segment to the end of its last, at least a pixel wide, and a pixel
    // short of the next segment where segments are wide enough, so neighbouring series stay apart.
    static QList<std::pair<double, double>> seriesSpans(const QList<Series>& series, int count, double width);
    // Series in band thickness, drawn this far below the segments.
    static constexpr double seriesBand = 2.0;
    static constexpr double seriesBandOffset = 3.0;

    // Set directly by tests and benchmarks that have no view model.
    void setDecisions(QList<std::optional<PhotoDecision>> decisions, int currentIndex);
    void setSeries(QList<Series> series);

signals:
    void viewModelChanged();
    void colorsChanged();
    void layoutChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData*) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

private:
    void reload();

    ViewModelLink viewModel_;
    QList<std::optional<PhotoDecision>> decisions_;
    QList<Series> series_;
    int currentIndex_ = 0;
    bool geometryDirty_ = true;
    QColor keepColor_{0x3f, 0xb9, 0x7c};
    QColor maybeColor_{0xe3, 0xb3, 0x41};
    QColor deleteColor_{0xe0, 0x5d, 0x5d};
    QColor openColor_{0x3a, 0x3d, 0x44};
    QColor seriesColor_{0x8a, 0xb4, 0xf8};
};

} // namespace kestrava
