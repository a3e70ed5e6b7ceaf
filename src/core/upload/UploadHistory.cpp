#include "UploadHistory.h"

#include <QLoggingCategory>

#include <utility>

// Quiet unless asked for (QT_LOGGING_RULES="qorvel.upload.history.info=true"): without a
// Secret Service the history simply lives for the session, which is not worth a warning on
// every command.
Q_LOGGING_CATEGORY(lcUploadHistory, "qorvel.upload.history", QtWarningMsg)

UploadHistory::UploadHistory(SecretStore &store, QString account, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_account(std::move(account))
{
}

const QList<UploadRecord> &UploadHistory::records() const
{
    load();
    return m_records;
}

void UploadHistory::load() const
{
    // Read on first use: a capture that is not uploaded never waits for the secret store.
    if (m_loaded)
        return;
    m_loaded = true;
    const Result<std::optional<QByteArray>> stored = m_store.read(m_account);
    if (!stored) {
        qCInfo(lcUploadHistory) << "Cannot read the upload history:" << stored.error().message << stored.error().detail;
        return;
    }
    if (!stored->has_value()) {
        m_records.clear();
        return;
    }
    std::optional<QList<UploadRecord>> decoded = decodeUploadRecords(**stored);
    if (!decoded) {
        qCWarning(lcUploadHistory) << "The stored upload history cannot be decoded; starting empty";
        return;
    }
    // Kept exactly as stored, even beyond the limit: trimming waits for the next add, so that
    // merely starting never writes.
    m_records = std::move(*decoded);
}

void UploadHistory::refresh()
{
    m_loaded = false;
    load();
}

void UploadHistory::add(const UploadRecord &record)
{
    load();
    m_records.prepend(record);
    if (m_records.size() > limit)
        m_records.resize(limit);
    save();
}

void UploadHistory::remove(const QUuid &id)
{
    load();
    m_records.removeIf([&id](const UploadRecord &record) { return record.id == id; });
    save();
}

void UploadHistory::clear()
{
    m_loaded = true;
    m_records.clear();
    save();
}

void UploadHistory::save()
{
    // An empty history leaves no item behind in the store.
    const std::optional<QByteArray> value
        = m_records.isEmpty() ? std::nullopt : std::optional<QByteArray>(encodeUploadRecords(m_records));
    const Result<void> written = m_store.write(value, m_account);
    // The list in memory stays as changed: the menu should show what the user did even when
    // the store refused it, and the next change tries again.
    if (!written)
        qCInfo(lcUploadHistory) << "Cannot save the upload history:" << written.error().message
                                << written.error().detail;
    Q_EMIT changed();
}
