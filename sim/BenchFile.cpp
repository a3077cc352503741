#include "sim/BenchFile.h"

#include <cmath>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>
#include <optional>
#include <stdexcept>

namespace tavrelsim {
namespace {

class Validator {
public:
    explicit Validator(QString origin) : m_origin(std::move(origin)) {}

    [[noreturn]] void fail(const QString& where, const QString& what) const {
        throw std::runtime_error(QString("bench file %1: %2: %3").arg(m_origin, where, what).toStdString());
    }

    void onlyKeys(const QJsonObject& o, const QString& where, const QStringList& allowed) const {
        for (const QString& key : o.keys()) {
            if (!allowed.contains(key)) fail(where, QString("unknown key \"%1\"").arg(key));
        }
    }

    QJsonObject object(const QJsonValue& v, const QString& where) const {
        if (!v.isObject()) fail(where, "expected an object");
        return v.toObject();
    }

    QJsonArray array(const QJsonObject& o, const QString& key, const QString& where) const {
        const QJsonValue v = o.value(key);
        if (v.isUndefined()) return {};
        if (!v.isArray()) fail(where, QString("\"%1\" must be an array").arg(key));
        return v.toArray();
    }

    int integer(const QJsonObject& o, const QString& key, const QString& where, int lo, int hi,
                std::optional<int> fallback = std::nullopt) const {
        const QJsonValue v = o.value(key);
        if (v.isUndefined() && fallback) return *fallback;
        if (v.isUndefined()) fail(where, QString("missing \"%1\"").arg(key));
        const double d = v.toDouble(-1e300);
        // Range first: converting a number far outside any integer type is undefined.
        if (!v.isDouble() || d < lo || d > hi || d != std::floor(d))
            fail(where, QString("\"%1\" must be an integer in %2..%3").arg(key).arg(lo).arg(hi));
        return int(d);
    }

    QString text(const QJsonObject& o, const QString& key, const QString& where, const QString& fallback,
                 const QString& pattern, const QString& rule) const {
        const QJsonValue v = o.value(key);
        if (v.isUndefined()) return fallback;
        const QRegularExpression re(QRegularExpression::anchoredPattern(pattern));
        if (!v.isString() || !re.match(v.toString()).hasMatch())
            fail(where, QString("\"%1\" must be %2").arg(key, rule));
        return v.toString();
    }

    template <typename T>
    T choice(const QJsonObject& o, const QString& key, const QString& where, T fallback,
             const QList<QPair<QString, T>>& names) const {
        const QJsonValue v = o.value(key);
        if (v.isUndefined()) return fallback;
        QStringList known;
        for (const auto& [name, value] : names) {
            if (v.isString() && v.toString().compare(name, Qt::CaseInsensitive) == 0) return value;
            known.append(name);
        }
        fail(where, QString("\"%1\" must be one of %2").arg(key, known.join(", ")));
    }

    SimFaults faults(const QJsonObject& device, const QString& where) const {
        SimFaults f;
        if (!device.contains("faults")) return f;
        const QString at = where + ".faults";
        const QJsonObject o = object(device.value("faults"), at);
        onlyKeys(o, at,
                 {"silent", "no_comma", "reply_delay_ms", "drop_after_bytes", "truncate_blocks",
                  "bytes_per_second", "garbage", "no_line_end", "endless_line_bytes", "block_length_excess"});
        for (const char* flag : {"silent", "no_comma", "garbage", "no_line_end"}) {
            if (o.contains(flag) && !o.value(flag).isBool())
                fail(at, QString("\"%1\" must be true or false").arg(flag));
        }
        f.silent = o.value("silent").toBool();
        f.noComma = o.value("no_comma").toBool();
        f.replyDelayMs = integer(o, "reply_delay_ms", at, 0, 600000, 0);
        f.dropAfterBytes = integer(o, "drop_after_bytes", at, 0, 1 << 30, -1);
        f.truncateBlocks = integer(o, "truncate_blocks", at, 1, 1 << 30, 0);
        f.bytesPerSecond = integer(o, "bytes_per_second", at, 1, 1 << 30, 0);
        f.garbage = o.value("garbage").toBool();
        f.noLineEnd = o.value("no_line_end").toBool();
        f.endlessLineBytes = integer(o, "endless_line_bytes", at, 1, 1 << 30, 0);
        f.blockLengthExcess = integer(o, "block_length_excess", at, 1, 1 << 20, 0);
        return f;
    }

    DeviceEntry device(const QJsonObject& o, const QString& where, bool serial) const {
        DeviceEntry d;
        if (!o.contains("kind")) fail(where, "missing \"kind\"");
        d.kind = choice<DeviceEntry::Kind>(o, "kind", where, DeviceEntry::Tavrel,
                                           {{"tavrel", DeviceEntry::Tavrel},
                                            {"no_comma", DeviceEntry::NoComma},
                                            {"silent", DeviceEntry::Silent}});
        QStringList keys{"kind"};
        if (!serial)
            keys << "address";
        else
            keys << "baud"
                 << "parity"
                 << "data_bits"
                 << "stop_bits"
                 << "handshake";
        if (d.kind == DeviceEntry::Tavrel)
            keys << "model"
                 << "serial"
                 << "firmware"
                 << "faults";
        else if (d.kind == DeviceEntry::NoComma)
            keys << "idn"
                 << "faults";
        onlyKeys(o, where, keys);

        const QString noComma = "[\\x20-\\x2B\\x2D-\\x7E]{1,64}";
        d.model = text(o, "model", where, "TV100A", "[A-Z0-9][A-Z0-9-]{0,15}",
                       "1..16 capital letters, digits or dashes");
        d.serial =
            text(o, "serial", where, "CT00000000", noComma, "1..64 printable characters without a comma");
        d.firmware =
            text(o, "firmware", where, "A.01.02", noComma, "1..64 printable characters without a comma");
        d.idn = text(o, "idn", where, "HP3478A", noComma, "1..64 printable characters without a comma")
                    .toLatin1();
        d.faults = faults(o, where);
        if (serial) {
            d.line.baudRate = integer(o, "baud", where, 0, 1 << 30, 9600);
            if (!QList<int>{1200, 2400, 9600, 19200, 38400, 57600}.contains(d.line.baudRate))
                fail(where, "\"baud\" must be one of 1200, 2400, 9600, 19200, 38400, 57600");
            d.line.parity = choice<int>(o, "parity", where, 1,
                                        {{"none", 1}, {"odd", 2}, {"even", 3}, {"mark", 4}, {"space", 5}});
            d.line.dataBits = integer(o, "data_bits", where, 7, 8, 8);
            d.line.stopBits = integer(o, "stop_bits", where, 1, 2, 1);
            d.line.handshake = choice<int>(o, "handshake", where, 2,
                                           {{"NONE", 1}, {"XON_XOFF", 2}, {"RTS_CTS", 3}, {"DTR_DSR", 4}});
        }
        return d;
    }

    BenchLayout bench(const QByteArray& json) const {
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
        if (error.error != QJsonParseError::NoError)
            fail(QString("offset %1").arg(error.offset), "not valid JSON: " + error.errorString());
        if (!doc.isObject()) fail("top level", "expected an object");
        const QJsonObject root = doc.object();
        onlyKeys(root, "top level", {"gpib", "com"});
        BenchLayout layout;
        QSet<int> boards, ports;
        const QJsonArray gpib = array(root, "gpib", "top level");
        for (qsizetype i = 0; i < gpib.size(); ++i) {
            const QString at = QString("gpib[%1]").arg(i);
            const QJsonObject b = object(gpib.at(i), at);
            onlyKeys(b, at, {"board", "devices"});
            GpibBoardEntry board;
            board.board = integer(b, "board", at, 0, 3);
            if (boards.contains(board.board)) fail(at, QString("board %1 listed twice").arg(board.board));
            boards.insert(board.board);
            QSet<int> addresses;
            const QJsonArray devices = array(b, "devices", at);
            for (qsizetype k = 0; k < devices.size(); ++k) {
                const QString dat = QString("%1.devices[%2]").arg(at).arg(k);
                const QJsonObject o = object(devices.at(k), dat);
                DeviceEntry d = device(o, dat, false);
                d.address = integer(o, "address", dat, 0, 30);
                if (addresses.contains(d.address))
                    fail(dat, QString("address %1 used twice on board %2").arg(d.address).arg(board.board));
                addresses.insert(d.address);
                board.devices.append(d);
            }
            layout.boards.append(board);
        }
        const QJsonArray com = array(root, "com", "top level");
        for (qsizetype i = 0; i < com.size(); ++i) {
            const QString at = QString("com[%1]").arg(i);
            const QJsonObject c = object(com.at(i), at);
            onlyKeys(c, at, {"port", "device"});
            ComPortEntry port;
            port.port = integer(c, "port", at, 1, 4);
            if (ports.contains(port.port)) fail(at, QString("COM%1 listed twice").arg(port.port));
            ports.insert(port.port);
            port.attached = c.contains("device") && !c.value("device").isNull();
            if (port.attached)
                port.device = device(object(c.value("device"), at + ".device"), at + ".device", true);
            layout.ports.append(port);
        }
        return layout;
    }

private:
    QString m_origin;
};

} // namespace

BenchLayout BenchFile::parse(const QByteArray& json, const QString& origin) {
    return Validator(origin).bench(json);
}

SimFaults BenchFile::parseFaults(const QByteArray& json, const QString& origin) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        throw std::runtime_error(QString("%1: not a JSON object of faults").arg(origin).toStdString());
    return Validator(origin).faults(QJsonObject{{"faults", document.object()}}, QStringLiteral("faults"));
}

QString BenchFile::kindName(DeviceEntry::Kind kind) {
    switch (kind) {
    case DeviceEntry::Tavrel:
        return "tavrel";
    case DeviceEntry::NoComma:
        return "no_comma";
    case DeviceEntry::Silent:
        return "silent";
    }
    return {};
}

} // namespace tavrelsim
