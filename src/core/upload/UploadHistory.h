#pragma once

#include "SecretStore.h"
#include "UploadRecord.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUuid>

// The most recent uploads, newest first, kept in the secret store beside the userhash. The
// stored list is read once, on first use; every change is written back before `changed()`.
class UploadHistory : public QObject
{
    Q_OBJECT

public:
    static constexpr int limit = 20;

    // An unreadable store or document starts the history empty. A document that cannot be
    // decoded is not touched then: it is replaced only by the next change the user makes.
    explicit UploadHistory(
        SecretStore &store, QString account = QLatin1String(SecretAccounts::uploadHistory), QObject *parent = nullptr);

    // As loaded, then as changed here; index 0 is the newest.
    const QList<UploadRecord> &records() const;

    // Reads the store again, for a list that another process (the command line) may have
    // changed. What cannot be read leaves the list as it is.
    void refresh();

    // Puts the record first and drops the oldest beyond `limit`.
    void add(const UploadRecord &record);
    // Removes every record with the id.
    void remove(const QUuid &id);
    void clear();

Q_SIGNALS:
    void changed();

private:
    void load() const;
    void save();

    SecretStore &m_store;
    QString m_account;
    mutable QList<UploadRecord> m_records;
    mutable bool m_loaded = false;
};
