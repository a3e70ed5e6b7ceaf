#pragma once

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

// A private session bus on which nothing is owned and nothing can be started, for the "no
// service" cases; with `running` false, only an address where no bus listens, for "no bus".
class EmptySessionBus
{
public:
    explicit EmptySessionBus(bool running)
    {
        m_socket = m_dir.filePath(QStringLiteral("bus"));
        if (!running)
            return;
        QFile config(m_dir.filePath(QStringLiteral("bus.conf")));
        if (!config.open(QIODevice::WriteOnly))
            return;
        config.write(QStringLiteral("<busconfig><type>session</type><listen>unix:path=%1</listen>"
                                    "<auth>EXTERNAL</auth><policy context=\"default\">"
                                    "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                                    "<allow own=\"*\"/></policy></busconfig>\n")
                         .arg(m_socket)
                         .toUtf8());
        config.close();
        m_bus.setStandardErrorFile(QProcess::nullDevice());
        m_bus.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--nofork"), QStringLiteral("--print-address"), QStringLiteral("--config-file"),
                config.fileName()});
        m_ready = m_bus.waitForReadyRead(5000);
    }
    ~EmptySessionBus()
    {
        m_bus.kill();
        m_bus.waitForFinished();
    }
    EmptySessionBus(const EmptySessionBus &) = delete;
    EmptySessionBus &operator=(const EmptySessionBus &) = delete;

    // Ready to be used: running when asked to, or merely an address when not.
    bool isReady() const { return m_ready || m_bus.state() == QProcess::NotRunning; }
    QString address() const { return QStringLiteral("unix:path=") + m_socket; }

    // Runs this test executable again with `variable` set to `value` and this bus as its session
    // bus, so the code under test starts its connections afresh; its standard output, or none
    // when it failed or outlived `timeoutMs`.
    std::optional<QByteArray> runProbe(const char *variable, const QString &value, int timeoutMs) const
    {
        QProcess probe;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QLatin1String(variable), value);
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address());
        probe.setProcessEnvironment(environment);
        probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        probe.start(QCoreApplication::applicationFilePath());
        if (!probe.waitForFinished(timeoutMs) || probe.exitCode() != 0)
            return std::nullopt;
        return probe.readAllStandardOutput();
    }

private:
    QTemporaryDir m_dir;
    QString m_socket;
    QProcess m_bus;
    bool m_ready = false;
};
