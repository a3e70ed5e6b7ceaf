#pragma once

#include <QObject>

#include <initializer_list>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and friends into a Qt signal on the main thread, so that a kill or a
// Ctrl+C ends the event loop and every destructor runs: the D-Bus name is released, the
// instance socket removed, temporary files deleted.
class UnixSignalWatcher : public QObject
{
    Q_OBJECT

public:
    explicit UnixSignalWatcher(std::initializer_list<int> signalNumbers, QObject *parent = nullptr);
    ~UnixSignalWatcher() override;

Q_SIGNALS:
    void signalled(int signalNumber);

private:
    void drain();

    QSocketNotifier *m_notifier = nullptr;
};
