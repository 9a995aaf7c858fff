#include "LarkmoorAlert/AlertRequest.h"

#include "LarkmoorPlatform/AlertProtocol.h"

namespace larkmoor {

std::optional<AlertRequest> AlertRequest::read(const QByteArray& request) {
    namespace protocol = AlertProtocol;
    if (!request.endsWith('\0')) return std::nullopt;
    AlertRequest alert;
    for (const QByteArray& field : request.chopped(1).split('\0')) {
        const qsizetype equals = field.indexOf('=');
        if (equals < 0) return std::nullopt;
        const std::string_view name{field.constData(), static_cast<std::size_t>(equals)};
        const QByteArray bytes = field.sliced(equals + 1);
        const QString value = QString::fromUtf8(bytes);
        if (name == protocol::build) alert.build = value;
        if (name == protocol::asker) alert.asker = value.toLongLong();
        if (name == protocol::style && bytes == "warning") alert.style = Style::warning;
        if (name == protocol::style && bytes == "critical") alert.style = Style::critical;
        if (name == protocol::message) alert.message = value;
        if (name == protocol::text) alert.text = value;
        if (name == protocol::button) alert.buttons.append(value);
        if (name == protocol::icon) alert.showsApplicationIcon = bytes == "application";
    }
    return alert.buttons.isEmpty() ? std::nullopt : std::optional{alert};
}

}  // namespace larkmoor
