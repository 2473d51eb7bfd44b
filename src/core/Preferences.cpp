#include "core/Preferences.h"

#include "core/AppPaths.h"
#include "core/Logging.h"
#include "core/SettingsCatalogue.h"

#include <QCborArray>
#include <QCborValue>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QPointer>
#include <QReadLocker>
#include <QScopeGuard>
#include <QStringList>
#include <QThread>
#include <QTimer>
#include <QWriteLocker>

#include <sqlite3.h>

#include <cmath>
#include <limits>
#include <utility>

namespace {

const char* const kTypeBool = "bool";
const char* const kTypeInteger = "integer";
const char* const kTypeDouble = "double";
const char* const kTypeString = "string";
const char* const kTypeData = "data";
const char* const kTypeArray = "array";

const char* const kFirstRunMarker = "firstRunDefaultsApplied";

// A busy store is mentioned in the log once it has been waited for this long.
constexpr int kWaitLogAfterMs = 1000;
// Retries run on the main thread, so each waits only briefly for the lock.
constexpr int kRetryWaitMs = 100;
constexpr int kRetryIntervalMs = 1000;

bool isBusy(int rc) {
    return (rc & 0xff) == SQLITE_BUSY || (rc & 0xff) == SQLITE_LOCKED;
}

// Failures of the file system or the process, which say nothing about what the file holds.
bool isEnvironmental(int rc) {
    switch (rc & 0xff) {
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_FULL:
    case SQLITE_NOMEM:
    case SQLITE_AUTH:
    case SQLITE_NOLFS:
        return true;
    default:
        return false;
    }
}

// A small owner of one prepared statement.
class Statement {
public:
    Statement(sqlite3* db, const char* sql) {
        if (sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr) != SQLITE_OK)
            m_statement = nullptr;
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    explicit operator bool() const { return m_statement != nullptr; }
    sqlite3_stmt* get() const { return m_statement; }

    void bindText(int index, const QString& text) {
        const QByteArray utf8 = text.toUtf8();
        sqlite3_bind_text(m_statement, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
    }
    void bindBlob(int index, const QByteArray& bytes) {
        // A zero-length blob must still be a blob, not NULL.
        sqlite3_bind_blob(m_statement, index, bytes.isEmpty() ? "" : bytes.constData(),
                          int(bytes.size()), SQLITE_TRANSIENT);
    }

private:
    sqlite3_stmt* m_statement = nullptr;
};

int exec(sqlite3* db, const char* sql) {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

QString columnText(sqlite3_stmt* statement, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(statement, column));
}

QByteArray columnBlob(sqlite3_stmt* statement, int column) {
    const void* blob = sqlite3_column_blob(statement, column);
    return QByteArray(static_cast<const char*>(blob), sqlite3_column_bytes(statement, column));
}

QCborValue toCbor(const QVariant& value) {
    switch (Preferences::typeOf(value)) {
    case Preferences::Type::Bool:
        return QCborValue(value.toBool());
    case Preferences::Type::Integer:
        return QCborValue(value.toLongLong());
    case Preferences::Type::Double:
        return QCborValue(value.toDouble());
    case Preferences::Type::String:
        return QCborValue(value.toString());
    case Preferences::Type::Data:
        return QCborValue(value.toByteArray());
    case Preferences::Type::Array: {
        QCborArray array;
        for (const QVariant& element : value.toList())
            array.append(toCbor(element));
        return array;
    }
    case Preferences::Type::Absent:
        break;
    }
    return {};
}

// Decodes a stored list element by element; an element of a type the store does not hold makes
// the whole list unreadable.
QVariant fromCbor(const QCborValue& value, bool* ok) {
    switch (value.type()) {
    case QCborValue::False:
    case QCborValue::True:
        return QVariant(value.toBool());
    case QCborValue::Integer:
        return QVariant(qint64(value.toInteger()));
    case QCborValue::Double:
        return QVariant(value.toDouble());
    case QCborValue::String:
        return QVariant(value.toString());
    case QCborValue::ByteArray:
        return QVariant(value.toByteArray());
    case QCborValue::Array: {
        QVariantList list;
        const QCborArray array = value.toArray();
        list.reserve(array.size());
        for (const QCborValue& element : array)
            list.append(fromCbor(element, ok));
        return QVariant(list);
    }
    default:
        *ok = false;
        return {};
    }
}

QByteArray encodeArray(const QVariantList& list) {
    return toCbor(QVariant(list)).toCbor();
}

std::optional<QVariantList> decodeArray(const QByteArray& bytes) {
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(bytes, &error);
    if (error.error != QCborError::NoError || !value.isArray())
        return std::nullopt;
    bool ok = true;
    const QVariant list = fromCbor(value, &ok);
    if (!ok)
        return std::nullopt;
    return list.toList();
}

bool sameValue(const QVariant& a, const QVariant& b) {
    const Preferences::Type type = Preferences::typeOf(a);
    if (type != Preferences::typeOf(b))
        return false;
    switch (type) {
    case Preferences::Type::Absent:
        return true;
    case Preferences::Type::Array:
        // Element types matter too (true is not 1), which QVariant's == does not see.
        return encodeArray(a.toList()) == encodeArray(b.toList());
    case Preferences::Type::Double:
        return a.toDouble() == b.toDouble();
    default:
        return a == b;
    }
}

QPointer<Preferences> g_standard;

} // namespace

Preferences::Preferences(const QString& filePath, QObject* parent, int waitLimitMs,
                         const QString& onlyKey)
    : QObject(parent)
    , m_filePath(filePath)
    , m_onlyKey(onlyKey)
    , m_waitLimitMs(waitLimitMs)
    , m_waitMs(waitLimitMs) {
    if (QCoreApplication::instance()) {
        m_retryTimer = new QTimer(this);
        m_retryTimer->setSingleShot(true);
        m_retryTimer->setInterval(kRetryIntervalMs);
        connect(m_retryTimer, &QTimer::timeout, this, &Preferences::retry);
    }
    if (open())
        load();
    // Once the event loop runs: a command that reads a value and exits never waits for it, and
    // closing a file watch costs the kernel a grace period of several milliseconds.
    if (m_retryTimer)
        QTimer::singleShot(0, this, &Preferences::watchFile);
}

Preferences::~Preferences() {
    // The last chance for what the store could not take so far, with the full wait.
    if (m_db && m_loaded && !m_pending.isEmpty() && !writePending()) {
        qCCritical(lcPreferences,
                   "Preferences: %lld changes could not be written to %s and are lost",
                   qlonglong(m_pending.size()), qUtf8Printable(m_filePath));
    }
    if (m_db)
        sqlite3_close(m_db);
}

QString Preferences::standardFilePath() {
    return AppPaths::configDirectory() + QStringLiteral("/preferences.sqlite3");
}

Preferences& Preferences::standard() {
    if (!g_standard) {
        // Owned by the application object where there is one, so it goes before Qt does.
        g_standard = new Preferences(standardFilePath(), QCoreApplication::instance());
    }
    return *g_standard;
}

bool Preferences::open() {
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    const QByteArray path = QFile::encodeName(m_filePath);
    sqlite3* db = nullptr;
    const int rc = sqlite3_open_v2(
        path.constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
        nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_close(db);
        noteFailure(rc, Action::Open);
        return false;
    }
    m_db = db;
    sqlite3_busy_handler(m_db, &Preferences::onBusy, this);
    return true;
}

// Reads the whole store into memory. What a failure means decides what follows: a busy or
// unreachable file is tried again later, and only a damaged one is replaced.
bool Preferences::load() {
    int rc = createSchema();
    QHash<QString, QVariant> values;
    if (rc == SQLITE_OK)
        values = readAll(&rc);
    if (rc != SQLITE_OK && isDamaged(rc)) {
        sqlite3_close(m_db);
        m_db = nullptr;
        moveDamagedFileAside(QStringLiteral("it is not a readable preferences store"));
        if (!open())
            return false;
        rc = createSchema();
    }
    if (rc != SQLITE_OK) {
        noteFailure(rc, Action::Read);
        return false;
    }
    // What was written before the store could be read was decided without its values: it fills
    // in only the keys the store does not hold.
    for (auto it = m_pending.begin(); it != m_pending.end();)
        it = values.contains(it.key()) ? m_pending.erase(it) : std::next(it);
    m_loaded = true;
    m_dataVersion = dataVersion();
    if (replaceValues(std::move(values)))
        Q_EMIT didChange();
    return true;
}

int Preferences::createSchema() {
    int rc = exec(m_db, "PRAGMA journal_mode=DELETE");
    if (rc == SQLITE_OK)
        rc = exec(m_db, "PRAGMA synchronous=FULL");
    if (rc == SQLITE_OK)
        rc = exec(m_db, "CREATE TABLE IF NOT EXISTS preferences ("
                        " key TEXT PRIMARY KEY NOT NULL, type TEXT NOT NULL, value)");
    if (rc == SQLITE_OK)
        rc = exec(m_db, "CREATE TABLE IF NOT EXISTS meta (name TEXT PRIMARY KEY NOT NULL, value)");
    return rc;
}

// Damaged is what SQLite calls corrupt or not a database. Any other failure that is neither a
// lock nor the file system's doing leaves it to the integrity check, which reads the whole
// file and so runs only here.
bool Preferences::isDamaged(int rc) {
    if ((rc & 0xff) == SQLITE_CORRUPT || (rc & 0xff) == SQLITE_NOTADB)
        return true;
    if (isBusy(rc) || isEnvironmental(rc))
        return false;
    Statement check(m_db, "PRAGMA integrity_check(1)");
    if (!check)
        return !isBusy(sqlite3_errcode(m_db)) && !isEnvironmental(sqlite3_errcode(m_db));
    const int step = sqlite3_step(check.get());
    if (step == SQLITE_ROW)
        return columnText(check.get(), 0) != QLatin1String("ok");
    return !isBusy(step) && !isEnvironmental(step);
}

void Preferences::noteFailure(int rc, Action action) {
    const char* const doing[] = {"open", "read", "write"};
    QString problem;
    if (isBusy(rc)) {
        problem = QStringLiteral("the preferences store %1 is in use by another program; gave up "
                                 "after %2 s")
                      .arg(m_filePath)
                      .arg(m_waitLimitMs / 1000.0);
    } else {
        problem = QStringLiteral("cannot %1 the preferences store %2: %3")
                      .arg(QLatin1String(doing[int(action)]), m_filePath,
                           QString::fromUtf8(m_db ? sqlite3_errmsg(m_db) : sqlite3_errstr(rc)));
    }
    // A retry that fails the same way says nothing new.
    if (problem != m_problem) {
        m_problem = problem;
        qCWarning(lcPreferences, "Preferences: %s; the file is left as it is",
                  qUtf8Printable(problem));
    }
    if (isBusy(rc) || isEnvironmental(rc))
        retryLater();
}

void Preferences::noteSuccess(const char* what) {
    if (m_problem.isEmpty())
        return;
    m_problem.clear();
    qCInfo(lcPreferences, "Preferences: %s %s now that it can be used again", what,
           qUtf8Printable(m_filePath));
}

int Preferences::onBusy(void* context, int attempt) {
    auto* self = static_cast<Preferences*>(context);
    if (attempt == 0) {
        self->m_waited.start();
        self->m_waitLogged = false;
    }
    const qint64 waited = self->m_waited.elapsed();
    if (waited >= self->m_waitMs)
        return 0;
    if (waited >= kWaitLogAfterMs && !self->m_waitLogged) {
        self->m_waitLogged = true;
        qCInfo(lcPreferences, "Preferences: %s is in use by another program; waiting up to %g s",
               qUtf8Printable(self->m_filePath), self->m_waitMs / 1000.0);
    }
    QThread::msleep(10);
    return 1;
}

void Preferences::retryLater() {
    if (m_retryTimer && !m_retryTimer->isActive())
        m_retryTimer->start();
}

void Preferences::retry() {
    const int waitMs = std::exchange(m_waitMs, std::min(m_waitLimitMs, kRetryWaitMs));
    const auto restore = qScopeGuard([this, waitMs] { m_waitMs = waitMs; });
    if (!m_db && !open())
        return;
    if (!m_loaded) {
        if (!load())
            return;
        noteSuccess("read");
    }
    if (!m_pending.isEmpty() && writePending())
        noteSuccess("wrote the values kept in memory to");
    if (m_firstRunPending)
        applyFirstRunDefaults();
}

void Preferences::moveDamagedFileAside(const QString& reason) {
    for (const char* suffix : {"-journal", "-wal", "-shm"}) {
        const QString companion = m_filePath + QLatin1String(suffix);
        if (QFileInfo::exists(companion))
            AppPaths::moveDamagedFile(QStringLiteral("preferences"), companion);
    }
    const QString kept = AppPaths::moveDamagedFile(QStringLiteral("preferences"), m_filePath);
    if (kept.isEmpty()) {
        qCCritical(lcPreferences, "Preferences: %s: %s, and it could not be moved aside",
                   qUtf8Printable(m_filePath), qUtf8Printable(reason));
    } else {
        qCCritical(lcPreferences, "Preferences: %s: %s; kept it as %s and started a new store",
                   qUtf8Printable(m_filePath), qUtf8Printable(reason), qUtf8Printable(kept));
    }
}

QHash<QString, QVariant> Preferences::readAll(int* result) const {
    QHash<QString, QVariant> values;
    Statement select(m_db, m_onlyKey.isEmpty()
                               ? "SELECT key, type, value FROM preferences"
                               : "SELECT key, type, value FROM preferences WHERE key = ?1");
    if (!select) {
        *result = sqlite3_errcode(m_db);
        return values;
    }
    if (!m_onlyKey.isEmpty())
        select.bindText(1, m_onlyKey);
    int rc;
    while ((rc = sqlite3_step(select.get())) == SQLITE_ROW) {
        sqlite3_stmt* row = select.get();
        const QString key = columnText(row, 0);
        const QByteArray type = columnBlob(row, 1);
        const int storage = sqlite3_column_type(row, 2);
        QVariant value;
        if (type == kTypeBool && storage == SQLITE_INTEGER)
            value = QVariant(sqlite3_column_int64(row, 2) != 0);
        else if (type == kTypeInteger && storage == SQLITE_INTEGER)
            value = QVariant(qint64(sqlite3_column_int64(row, 2)));
        else if (type == kTypeDouble && (storage == SQLITE_FLOAT || storage == SQLITE_INTEGER))
            value = QVariant(sqlite3_column_double(row, 2));
        else if (type == kTypeString && storage == SQLITE_TEXT)
            value = QVariant(columnText(row, 2));
        else if (type == kTypeData && storage == SQLITE_BLOB)
            value = QVariant(columnBlob(row, 2));
        else if (type == kTypeArray && storage == SQLITE_BLOB) {
            if (const auto list = decodeArray(columnBlob(row, 2)))
                value = QVariant(*list);
        }
        if (!value.isValid()) {
            qCWarning(lcPreferences, "Preferences: the value of \"%s\" cannot be read; ignoring it",
                      qUtf8Printable(key));
            continue;
        }
        values.insert(key, value);
    }
    *result = rc == SQLITE_DONE ? SQLITE_OK : rc;
    return values;
}

qint64 Preferences::dataVersion() const {
    Statement version(m_db, "PRAGMA data_version");
    if (!version || sqlite3_step(version.get()) != SQLITE_ROW)
        return -1;
    return sqlite3_column_int64(version.get(), 0);
}

void Preferences::watchFile() {
    // Another process's commit rewrites the file; the watch wakes us only then, and
    // data_version tells its commits from our own.
    m_watcher = new QFileSystemWatcher(this);
    m_watcher->addPath(m_filePath);
    m_watcher->addPath(QFileInfo(m_filePath).absolutePath());
    const auto onChange = [this] {
        if (!m_watcher->files().contains(m_filePath) && QFileInfo::exists(m_filePath))
            m_watcher->addPath(m_filePath);
        checkForExternalChanges();
    };
    connect(m_watcher, &QFileSystemWatcher::fileChanged, this, onChange);
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, onChange);
    // What changed before the watch began.
    checkForExternalChanges();
}

bool Preferences::checkForExternalChanges() {
    if (!m_db || !m_loaded)
        return false;
    const int waitMs = std::exchange(m_waitMs, std::min(m_waitLimitMs, kRetryWaitMs));
    const auto restore = qScopeGuard([this, waitMs] { m_waitMs = waitMs; });
    const qint64 version = dataVersion();
    if (version == m_dataVersion)
        return false;
    int rc = SQLITE_OK;
    QHash<QString, QVariant> values = readAll(&rc);
    if (rc != SQLITE_OK) {
        // The writer still holds its lock; look again shortly.
        if (isBusy(rc))
            QTimer::singleShot(50, this, [this] { checkForExternalChanges(); });
        else
            noteFailure(rc, Action::Read);
        return false;
    }
    m_dataVersion = version;
    replaceValues(std::move(values));
    Q_EMIT didChange();
    return true;
}

// Takes what the file holds, with the writes still waiting on top, and announces every key
// that changed; true when one did.
bool Preferences::replaceValues(QHash<QString, QVariant> values) {
    for (auto it = m_pending.cbegin(); it != m_pending.cend(); ++it) {
        if (it.value().isValid())
            values.insert(it.key(), it.value());
        else
            values.remove(it.key());
    }
    QStringList changed;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (!sameValue(it.value(), m_values.value(it.key())))
            changed.append(it.key());
    }
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it) {
        if (!values.contains(it.key()))
            changed.append(it.key());
    }
    {
        QWriteLocker locker(&m_lock);
        m_values = std::move(values);
    }
    for (const QString& key : std::as_const(changed))
        Q_EMIT valueChanged(key);
    return !changed.isEmpty();
}

QVariant Preferences::objectForKey(const QString& key) const {
    QReadLocker locker(&m_lock);
    return m_values.value(key);
}

Preferences::Type Preferences::typeForKey(const QString& key) const {
    return typeOf(objectForKey(key));
}

QStringList Preferences::allKeys() const {
    QReadLocker locker(&m_lock);
    QStringList keys = m_values.keys();
    keys.sort();
    return keys;
}

bool Preferences::boolForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    switch (typeOf(value)) {
    case Type::Bool:
        return value.toBool();
    case Type::Integer:
        return value.toLongLong() != 0;
    case Type::Double:
        return value.toDouble() != 0.0;
    default:
        return false;
    }
}

qint64 Preferences::integerForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    switch (typeOf(value)) {
    case Type::Integer:
        return value.toLongLong();
    case Type::Bool:
        return value.toBool() ? 1 : 0;
    case Type::Double: {
        const double d = std::trunc(value.toDouble());
        // Outside the 64-bit range (or infinite) there is no integer to give.
        if (!(d >= -9223372036854775808.0 && d < 9223372036854775808.0))
            return 0;
        return qint64(d);
    }
    default:
        return 0;
    }
}

double Preferences::doubleForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    switch (typeOf(value)) {
    case Type::Double:
        return value.toDouble();
    case Type::Integer:
        return double(value.toLongLong());
    case Type::Bool:
        return value.toBool() ? 1.0 : 0.0;
    default:
        return 0.0;
    }
}

std::optional<QString> Preferences::stringForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (typeOf(value) != Type::String)
        return std::nullopt;
    return value.toString();
}

std::optional<QByteArray> Preferences::dataForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (typeOf(value) != Type::Data)
        return std::nullopt;
    return value.toByteArray();
}

std::optional<QVariantList> Preferences::arrayForKey(const QString& key) const {
    const QVariant value = objectForKey(key);
    if (typeOf(value) != Type::Array)
        return std::nullopt;
    return value.toList();
}

Preferences::Type Preferences::typeOf(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::Bool:
        return Type::Bool;
    case QMetaType::LongLong:
        return Type::Integer;
    case QMetaType::Double:
        return Type::Double;
    case QMetaType::QString:
        return Type::String;
    case QMetaType::QByteArray:
        return Type::Data;
    case QMetaType::QVariantList:
        return Type::Array;
    default:
        return Type::Absent;
    }
}

QVariant Preferences::normalized(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::Bool:
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return value;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return QVariant(value.toLongLong());
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const qulonglong u = value.toULongLong();
        if (u > qulonglong(std::numeric_limits<qint64>::max()))
            return {};
        return QVariant(qint64(u));
    }
    case QMetaType::Double:
    case QMetaType::Float: {
        const double d = value.toDouble();
        // SQLite turns NaN into NULL, so it could not come back as a number.
        if (std::isnan(d))
            return {};
        return QVariant(d);
    }
    case QMetaType::QStringList: {
        QVariantList list;
        for (const QString& s : value.toStringList())
            list.append(QVariant(s));
        return QVariant(list);
    }
    case QMetaType::QVariantList: {
        QVariantList list;
        for (const QVariant& element : value.toList()) {
            const QVariant n = normalized(element);
            if (!n.isValid())
                return {};
            list.append(n);
        }
        return QVariant(list);
    }
    default:
        return {};
    }
}

bool Preferences::set(const QString& key, bool value) {
    return setValue(key, QVariant(value));
}

bool Preferences::set(const QString& key, qint64 value) {
    return setValue(key, QVariant(value));
}

bool Preferences::set(const QString& key, double value) {
    return setValue(key, QVariant(value));
}

bool Preferences::set(const QString& key, const QString& value) {
    return setValue(key, QVariant(value));
}

bool Preferences::set(const QString& key, const QByteArray& value) {
    return setValue(key, QVariant(value));
}

bool Preferences::set(const QString& key, const QVariantList& value) {
    return setValue(key, QVariant(value));
}

bool Preferences::setValue(const QString& key, const QVariant& value) {
    if (!value.isValid())
        return removeObject(key);
    if (key.isEmpty()) {
        qCWarning(lcPreferences, "Preferences: a value needs a key; nothing written");
        return false;
    }
    const QVariant stored = normalized(value);
    if (!stored.isValid()) {
        qCWarning(lcPreferences,
                  "Preferences: \"%s\" cannot hold a value of type %s; the stored value is kept",
                  qUtf8Printable(key), value.typeName() ? value.typeName() : "(none)");
        return false;
    }
    return store(key, stored);
}

// Writes at once where the store can take it, otherwise keeps the value for later, behind the
// writes already waiting; memory holds the new value either way.
bool Preferences::store(const QString& key, const QVariant& value) {
    bool written = false;
    if (m_db && m_loaded && m_pending.isEmpty()) {
        const int rc = writeValue(key, value);
        written = rc == SQLITE_OK;
        if (!written)
            noteFailure(rc, Action::Write);
        // A value the store refuses for itself (too large, say) will not fit later either.
        if (!written && !isBusy(rc) && !isEnvironmental(rc))
            return false;
    }
    if (!written) {
        m_pending.insert(key, value);
        retryLater();
    }
    {
        QWriteLocker locker(&m_lock);
        if (value.isValid())
            m_values.insert(key, value);
        else
            m_values.remove(key);
    }
    announce(key);
    return written;
}

bool Preferences::writePending() {
    int rc = exec(m_db, "BEGIN IMMEDIATE");
    for (auto it = m_pending.cbegin(); rc == SQLITE_OK && it != m_pending.cend(); ++it)
        rc = writeValue(it.key(), it.value());
    if (rc == SQLITE_OK)
        rc = exec(m_db, "COMMIT");
    if (rc != SQLITE_OK) {
        if (!sqlite3_get_autocommit(m_db))
            exec(m_db, "ROLLBACK");
        noteFailure(rc, Action::Write);
        return false;
    }
    m_pending.clear();
    return true;
}

// Stores one value, or removes the key for an invalid one; returns SQLite's result.
int Preferences::writeValue(const QString& key, const QVariant& value) {
    if (!value.isValid()) {
        Statement remove(m_db, "DELETE FROM preferences WHERE key = ?1");
        if (!remove)
            return sqlite3_errcode(m_db);
        remove.bindText(1, key);
        const int rc = sqlite3_step(remove.get());
        return rc == SQLITE_DONE ? SQLITE_OK : rc;
    }
    Statement insert(m_db, "INSERT INTO preferences (key, type, value) VALUES (?1, ?2, ?3)"
                           " ON CONFLICT (key) DO UPDATE SET type = ?2, value = ?3");
    if (!insert)
        return sqlite3_errcode(m_db);
    insert.bindText(1, key);
    const char* type = nullptr;
    switch (typeOf(value)) {
    case Type::Bool:
        type = kTypeBool;
        sqlite3_bind_int64(insert.get(), 3, value.toBool() ? 1 : 0);
        break;
    case Type::Integer:
        type = kTypeInteger;
        sqlite3_bind_int64(insert.get(), 3, value.toLongLong());
        break;
    case Type::Double:
        type = kTypeDouble;
        sqlite3_bind_double(insert.get(), 3, value.toDouble());
        break;
    case Type::String:
        type = kTypeString;
        insert.bindText(3, value.toString());
        break;
    case Type::Data:
        type = kTypeData;
        insert.bindBlob(3, value.toByteArray());
        break;
    case Type::Array:
        type = kTypeArray;
        insert.bindBlob(3, encodeArray(value.toList()));
        break;
    case Type::Absent:
        return SQLITE_MISUSE;
    }
    sqlite3_bind_text(insert.get(), 2, type, -1, SQLITE_STATIC);
    const int rc = sqlite3_step(insert.get());
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
}

bool Preferences::removeObject(const QString& key) {
    return store(key, QVariant());
}

void Preferences::announce(const QString& key) {
    Q_EMIT valueChanged(key);
    Q_EMIT didChange();
}

QMetaObject::Connection Preferences::observe(const QString& key, const QObject* context,
                                             std::function<void(const QVariant&)> callback) {
    return connect(this, &Preferences::valueChanged, context,
                   [this, key, callback = std::move(callback)](const QString& changed) {
                       if (changed == key)
                           callback(objectForKey(key));
                   });
}

void Preferences::applyFirstRunDefaults() {
    if (!m_db || !m_loaded || !m_pending.isEmpty()) {
        // Decided once the store has been read and holds what this process wrote.
        m_firstRunPending = true;
        return;
    }
    {
        Statement marker(m_db, "SELECT 1 FROM meta WHERE name = ?1");
        if (!marker)
            return;
        sqlite3_bind_text(marker.get(), 1, kFirstRunMarker, -1, SQLITE_STATIC);
        const int rc = sqlite3_step(marker.get());
        if (rc == SQLITE_ROW) {
            m_firstRunPending = false;
            return;
        }
        if (rc != SQLITE_DONE) {
            m_firstRunPending = true;
            noteFailure(rc, Action::Read);
            return;
        }
    }
    const QList<std::pair<QString, QVariant>> defaults = Settings::firstRunValues();
    checkForExternalChanges();
    // Read inside the transaction so a value another process has just written is not replaced.
    int rc = exec(m_db, "BEGIN IMMEDIATE");
    QHash<QString, QVariant> current;
    if (rc == SQLITE_OK)
        current = readAll(&rc);
    QStringList written;
    for (const auto& [key, value] : defaults) {
        if (rc != SQLITE_OK || current.contains(key))
            continue;
        rc = writeValue(key, value);
        written.append(key);
    }
    if (rc == SQLITE_OK) {
        Statement marker(m_db, "INSERT INTO meta (name, value) VALUES (?1, 1)");
        sqlite3_bind_text(marker.get(), 1, kFirstRunMarker, -1, SQLITE_STATIC);
        rc = sqlite3_step(marker.get());
        if (rc == SQLITE_DONE)
            rc = exec(m_db, "COMMIT");
    }
    if (rc != SQLITE_OK) {
        if (!sqlite3_get_autocommit(m_db))
            exec(m_db, "ROLLBACK");
        m_firstRunPending = true;
        noteFailure(rc, Action::Write);
        return;
    }
    m_firstRunPending = false;
    for (const auto& [key, value] : defaults) {
        if (written.contains(key))
            current.insert(key, value);
    }
    if (replaceValues(std::move(current)))
        Q_EMIT didChange();
}
