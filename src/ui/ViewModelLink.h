#pragma once

// The view model a screen object follows, together with the connections to its signals. QML
// may hand an object another view model (or none) at any time; pointing the link elsewhere
// ends every connection to the previous one, so a list model, a controller and a Quick item
// never hear from a view model they no longer show.

#include "workflow/KestravaViewModel.h"

#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>

namespace kestrava {

class ViewModelLink {
public:
    ViewModelLink() = default;
    ~ViewModelLink() { disconnectAll(); }
    ViewModelLink(const ViewModelLink&) = delete;
    ViewModelLink& operator=(const ViewModelLink&) = delete;

    KestravaViewModel* get() const { return viewModel_; }
    KestravaViewModel* operator->() const { return viewModel_; }
    operator KestravaViewModel*() const { return viewModel_; }
    // The followed view model's review, or none without a view model.
    ReviewStage* review() const { return viewModel_ ? viewModel_->review() : nullptr; }

    // Follows `viewModel` from now on; false (and nothing changes) when it is already followed.
    bool reset(KestravaViewModel* viewModel)
    {
        if (viewModel_ == viewModel)
            return false;
        disconnectAll();
        viewModel_ = viewModel;
        return true;
    }

    // Connects a signal of the followed view model until the next reset; nothing without one.
    template <class Signal, class Receiver, class Slot>
    void follow(Signal signal, const Receiver* receiver, Slot slot)
    {
        if (viewModel_)
            connections_ << QObject::connect(viewModel_.get(), signal, receiver, slot);
    }

    // The same for a signal of one of the followed view model's stages.
    template <class Stage, class Signal, class Receiver, class Slot>
    void follow(const Stage* stage, Signal signal, const Receiver* receiver, Slot slot)
    {
        if (viewModel_ && stage)
            connections_ << QObject::connect(stage, signal, receiver, slot);
    }

private:
    void disconnectAll()
    {
        for (const QMetaObject::Connection& connection : connections_)
            QObject::disconnect(connection);
        connections_.clear();
    }

    QPointer<KestravaViewModel> viewModel_;
    QList<QMetaObject::Connection> connections_;
};

} // namespace kestrava
