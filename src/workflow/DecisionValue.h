#pragma once

// The decision as QML names it: `Decision.Keep`, `Decision.Maybe`, `Decision.Delete`. The values
// are the model's own (PhotoDecision), so the two cannot drift; the window's module exports the
// namespace, and an intent taking it refuses a misspelt decision at load time, not at a click.

#include "model/PhotoModel.h"

#include <QObject>

namespace kestrava::Decision {
Q_NAMESPACE

enum Value {
    Keep = int(PhotoDecision::keep),
    Maybe = int(PhotoDecision::maybe),
    Delete = int(PhotoDecision::del),
};
Q_ENUM_NS(Value)

inline PhotoDecision toModel(Value value)
{
    return PhotoDecision(int(value));
}

} // namespace kestrava::Decision
