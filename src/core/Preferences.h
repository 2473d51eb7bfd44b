#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QReadWriteLock>
#include <QString>
#include <QVariant>
#include <QVariantList>

#include <functional>
#include <optional>

struct sqlite3;
class QFileSystemWatcher;
class QTimer;

// The user's preferences: a flat namespace of keys holding typed values, kept in one SQLite file.
//
// A value is exactly one of: bool, qint64, double, QString, QByteArray, or a QVariantList of
// those. An invalid QVariant means "absent", which is always told apart from false, 0 or "".
// Typed getters follow the store's rules for other types (see the README), never parsing
// strings: a stored "true" is a string, not a boolean.
//
// didChange() follows every change, made in this process or by another one (the
// orvanta-defaults command); valueChanged(key) names the key that changed.
//
// Only a file that SQLite finds corrupt, or that fails the integrity check, is taken for damaged.
// A store that another program holds locked is waited for (waitLimitMs) and then retried in the
// background; a store that cannot be written (read-only, full disk) is reported and left as it
// is. Meanwhile the values live in memory, and what could not be written is written later.
class Preferences : public QObject {
    Q_OBJECT

public:
    enum class Type { Absent, Bool, Integer, Double, String, Data, Array };

    // How long one operation waits for a store that another program holds locked.
    static constexpr int kWaitLimitMs = 5000;

    // Opens (creating when needed) the store at filePath and reads it. A damaged file is moved
    // aside into the damaged-data folder first, so nothing is overwritten unseen. With onlyKey,
    // that key is all it reads and knows of: one command need not read a large library.
    explicit Preferences(const QString& filePath, QObject* parent = nullptr,
                         int waitLimitMs = kWaitLimitMs, const QString& onlyKey = QString());
    ~Preferences() override;

    // The store of this user: $XDG_CONFIG_HOME/orvanta/preferences.sqlite3.
    static Preferences& standard();
    static QString standardFilePath();

    QString filePath() const { return m_filePath; }
    // True once the stored values have been read.
    bool isOpen() const { return m_db != nullptr && m_loaded; }
    // Why the store could not be read or written the last time, in one line; empty when it
    // could.
    QString problem() const { return m_problem; }

    // Typed reads; an absent key gives false, 0 and 0.0.
    bool boolForKey(const QString& key) const;
    qint64 integerForKey(const QString& key) const;
    double doubleForKey(const QString& key) const;
    // The stored value as it is, or an invalid QVariant when absent.
    QVariant objectForKey(const QString& key) const;
    // Present only when the stored value has that very type.
    std::optional<QString> stringForKey(const QString& key) const;
    std::optional<QByteArray> dataForKey(const QString& key) const;
    std::optional<QVariantList> arrayForKey(const QString& key) const;

    Type typeForKey(const QString& key) const;
    QStringList allKeys() const;

    // Typed writes. Each is one transaction: it lands whole or not at all. When the store cannot
    // take it now (locked, read-only, full), the value is kept in memory and written once it
    // can, and the write returns false.
    bool set(const QString& key, bool value);
    bool set(const QString& key, qint64 value);
    bool set(const QString& key, int value) { return set(key, qint64(value)); }
    bool set(const QString& key, double value);
    bool set(const QString& key, const QString& value);
    bool set(const QString& key, const char* value) { return set(key, QString::fromUtf8(value)); }
    bool set(const QString& key, const QByteArray& value);
    bool set(const QString& key, const QVariantList& value);
    // Writes any value of a supported type; an invalid QVariant removes the key. Returns false
    // (and logs) for a value the store cannot hold, leaving the stored value untouched.
    bool setValue(const QString& key, const QVariant& value);
    bool removeObject(const QString& key);

    // Observation of one key: callback runs with the new value (invalid when removed) after
    // every change of that key, until context is destroyed or the connection is disconnected.
    QMetaObject::Connection observe(const QString& key, const QObject* context,
                                    std::function<void(const QVariant&)> callback);

    // On the first start of a new installation, writes the keys whose settings-page default
    // differs from what the program uses while they are absent (Settings::firstRunValues), so
    // the program behaves as its pages show.
    // Keys already present are left alone; later calls do nothing.
    void applyFirstRunDefaults();

    // Checks at once for changes made by other processes (normally noticed through the file
    // watch). Returns true when something had changed.
    bool checkForExternalChanges();

    // Normalises a value to the store's types (int → qint64, float → double, QStringList →
    // list of strings); an invalid QVariant when it cannot be stored.
    static QVariant normalized(const QVariant& value);
    static Type typeOf(const QVariant& value);

Q_SIGNALS:
    void didChange();
    void valueChanged(const QString& key);

private:
    enum class Action { Open, Read, Write };

    bool open();
    bool load();
    int createSchema();
    bool isDamaged(int rc);
    void moveDamagedFileAside(const QString& reason);
    void noteFailure(int rc, Action action);
    void noteSuccess(const char* what);
    QHash<QString, QVariant> readAll(int* rc) const;
    int writeValue(const QString& key, const QVariant& value);
    bool store(const QString& key, const QVariant& value);
    bool writePending();
    bool replaceValues(QHash<QString, QVariant> values);
    void announce(const QString& key);
    void watchFile();
    void retryLater();
    void retry();
    qint64 dataVersion() const;
    static int onBusy(void* self, int attempt);

    QString m_filePath;
    QString m_onlyKey;
    sqlite3* m_db = nullptr;
    mutable QReadWriteLock m_lock;
    QHash<QString, QVariant> m_values;
    // Writes the store could not take yet, in memory until it can; an invalid value removes.
    QHash<QString, QVariant> m_pending;
    bool m_loaded = false;
    bool m_firstRunPending = false;
    QString m_problem;
    const int m_waitLimitMs;
    int m_waitMs;
    QElapsedTimer m_waited;
    bool m_waitLogged = false;
    qint64 m_dataVersion = -1;
    QFileSystemWatcher* m_watcher = nullptr;
    QTimer* m_retryTimer = nullptr;
};
