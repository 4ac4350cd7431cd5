#include "extensions/plasma/Viewer/HostSettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace Lumivera {

namespace {

/// No answer to a setting is longer.
constexpr qint64 kMaxAnswer = 65536;

QString socketPath() {
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + "/lumivera/control";
}

/// Sessions do not always know the user's own folder of programs.
QString program() {
    const QString found = QStandardPaths::findExecutable(QStringLiteral("lumivera"));
    return found.isEmpty() ? QDir::homePath() + "/.local/bin/lumivera" : found;
}

/// Keeps a stranger's picture from any of Qt's other readers.
bool isPNG(const QString &path) {
    const QByteArray signature = QByteArrayLiteral("\x89PNG\r\n\x1a\n");
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) &&
           file.read(signature.size()) == signature;
}

/// The smallest picture that shows what a bundle looks like; empty without one.
QUrl pictureOf(const QString &bundle) {
    for (const char *name : {"/thumbnail.png", "/thumbnail@2x.png", "/lumivera_background_.png",
                             "/lumivera_background_@2x.png"}) {
        const QString path = bundle + QLatin1String(name);
        if (isPNG(path)) {
            return QUrl::fromLocalFile(path);
        }
    }
    return {};
}

} // namespace

HostSettings::HostSettings(QObject *parent) : QObject(parent) {
    connect(&_socket, &QLocalSocket::readyRead, this, &HostSettings::readAnswers);
}

/// Without a host nothing is sent: whoever calls does so again when there is one.
void HostSettings::set(const QString &output, const QString &key, const QString &value) {
    if (_socket.state() == QLocalSocket::UnconnectedState) {
        _socket.connectToServer(socketPath());
    }
    const QJsonObject request{{"do", "set"}, {"output", output}, {"key", key}, {"value", value}};
    _socket.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
}

void HostSettings::listBundles() {
    auto *const list = new QProcess(this);
    connect(list, &QProcess::errorOccurred, this, [this, list] {
        setProblem(tr("The program lumivera cannot be started; install it."));
        list->deleteLater();
    });
    connect(list, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this, list] {
                readBundles(list->readAllStandardOutput());
                list->deleteLater();
            });
    list->start(program(), {QStringLiteral("list"), QStringLiteral("--json")});
}

QString HostSettings::tintOf(const QColor &color) {
    return QStringLiteral("#%1%2")
        .arg(color.rgb() & 0xFFFFFF, 6, 16, QLatin1Char('0'))
        .arg(color.alpha(), 2, 16, QLatin1Char('0'));
}

QColor HostSettings::colorOf(const QString &tint) {
    QColor color(tint.left(7));
    if (tint.size() == 9 && color.isValid()) {
        color.setAlpha(tint.mid(7).toInt(nullptr, 16));
    }
    return color.isValid() ? color : QColor(Qt::white);
}

void HostSettings::readAnswers() {
    while (_socket.canReadLine()) {
        const auto answer = QJsonDocument::fromJson(_socket.readLine(kMaxAnswer)).object();
        setProblem(answer.value("error").toString());
    }
    if (_socket.bytesAvailable() > kMaxAnswer) {
        _socket.abort();
    }
}

void HostSettings::readBundles(const QByteArray &json) {
    _bundles.clear();
    for (const auto &entry : QJsonDocument::fromJson(json).array()) {
        const QJsonObject bundle = entry.toObject();
        const QString path = bundle.value("path").toString();
        if (bundle.value("problem").isNull()) {
            _bundles.append(QVariantMap{{"name", bundle.value("name").toString()},
                                        {"path", path},
                                        {"picture", pictureOf(path)}});
        }
    }
    Q_EMIT bundlesChanged();
}

void HostSettings::setProblem(const QString &problem) {
    if (problem != _problem) {
        _problem = problem;
        Q_EMIT problemChanged();
    }
}

} // namespace Lumivera
