#pragma once

#include <QException>
#include <QString>

namespace kestrava {

// Base of every error a user can see. `description()` is the complete German message;
// deriving from QException lets QFuture carry the exact type across threads, so
// `.onFailed(this, [](const SessionStoreError&) …)` matches.
class KestravaError : public QException {
public:
    virtual QString description() const = 0;
    const char* what() const noexcept override;

private:
    mutable QByteArray whatCache_;
};

// Gives an error type the polymorphic copy QFuture needs: `class MyError : public ErrorBase<MyError>`.
template <class Derived>
class ErrorBase : public KestravaError {
public:
    void raise() const override { throw static_cast<const Derived&>(*this); }
    QException* clone() const override { return new Derived(static_cast<const Derived&>(*this)); }
};

// A JSON document or value that does not have the expected shape. Callers that face the user
// translate it into their own subsystem's message; `detail` names the offending key for logs and tests.
class DecodingError : public ErrorBase<DecodingError> {
public:
    explicit DecodingError(QString detail) : detail_(std::move(detail)) {}
    QString description() const override;
    const QString& detail() const { return detail_; }

private:
    QString detail_;
};

} // namespace kestrava
