// What one alert shows, read from the request of the protocol.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace larkmoor {

struct AlertRequest {
    enum class Style { informational, warning, critical };

    QString build;
    qint64 asker = 0;
    Style style = Style::informational;
    QString message;
    QString text;
    QStringList buttons;
    bool showsApplicationIcon = false;

    /// Nothing for a request that is cut short or has no button; a field that is not known is passed over.
    static std::optional<AlertRequest> read(const QByteArray& request);
};

}  // namespace larkmoor
