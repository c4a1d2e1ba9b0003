#pragma once

#include <functional>
#include <utility>

#include <QObject>
#include <QString>
#include <QStringList>

namespace quenstal {

/// A question, or an explanation with one button, as the sheet over the panel reads it. Answered once.
class Question : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title MEMBER title_ CONSTANT)
    Q_PROPERTY(QString text MEMBER text_ CONSTANT)
    Q_PROPERTY(QStringList buttons MEMBER buttons_ CONSTANT)

public:
    Question(QString title, QString text, QStringList buttons, std::function<void(int)> answered)
        : title_(std::move(title))
        , text_(std::move(text))
        , buttons_(std::move(buttons))
        , answered_(std::move(answered))
    {
    }

    Q_INVOKABLE void answer(int button)
    {
        if (const auto answered = std::exchange(answered_, nullptr))
            answered(button);
    }

private:
    QString title_;
    QString text_;
    QStringList buttons_;
    std::function<void(int)> answered_;
};

} // namespace quenstal
