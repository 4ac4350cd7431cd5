#pragma once

#include <QColor>
#include <QLocalSocket>
#include <QObject>
#include <QVariantList>

namespace Lumivera {

/// Sends settings to the running host over its control socket, and lists the installed wallpapers.
/// GUI thread; it never waits.
class HostSettings : public QObject {
    Q_OBJECT

    /// Each has `name`, `path` and `picture`, a URL; empty before listBundles() is done.
    Q_PROPERTY(QVariantList bundles READ bundles NOTIFY bundlesChanged)

    /// What went wrong last, for the user; empty for nothing.
    Q_PROPERTY(QString problem READ problem NOTIFY problemChanged)

  public:
    explicit HostSettings(QObject *parent = nullptr);

    QVariantList bundles() const { return _bundles; }
    QString problem() const { return _problem; }

    /// Sets a value of the configuration for that output; "default" unsets it.
    Q_INVOKABLE void set(const QString &output, const QString &key, const QString &value);

    Q_INVOKABLE void listBundles();

    /// A colour as the host reads it, and back; white for a text that is none.
    Q_INVOKABLE static QString tintOf(const QColor &color);
    Q_INVOKABLE static QColor colorOf(const QString &tint);

  Q_SIGNALS:
    void bundlesChanged();
    void problemChanged();

  private:
    void readAnswers();
    void readBundles(const QByteArray &json);
    void setProblem(const QString &problem);

    QLocalSocket _socket;
    QVariantList _bundles;
    QString _problem;
};

} // namespace Lumivera
