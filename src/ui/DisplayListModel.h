#pragma once

#include "ui/ViewRules.h"

#include <QAbstractListModel>
#include <QList>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>

class VideoPlayerManager;

// The screens the Now Playing page lists: one row per desktop window (or the one shared row in
// synchronized mode), each with its player manager and the name of its assigned playlist.
class DisplayListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The settings context owns the display list")
    Q_PROPERTY(ViewRules::Content content READ content NOTIFY contentChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role { ScreenNameRole = Qt::UserRole + 1, ManagerRole, PlaylistNameRole };

    struct Entry {
        QString screenName;
        VideoPlayerManager* manager = nullptr;
    };

    explicit DisplayListModel(QObject* parent = nullptr);

    void setEntries(const QList<Entry>& entries);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    ViewRules::Content content() const { return m_content; }
    // The first row's manager; null while there is none.
    Q_INVOKABLE QObject* managerAt(int row) const;
    Q_INVOKABLE QString playlistNameAt(int row) const;
    // Pauses or plays that screen alone.
    Q_INVOKABLE void togglePlayback(int row);

Q_SIGNALS:
    void contentChanged();
    void countChanged();

private:
    void updateContent();
    void updatePlaylistNames();

    struct Row {
        QString screenName;
        QPointer<VideoPlayerManager> manager;
    };
    QList<Row> m_rows;
    ViewRules::Content m_content = ViewRules::Content::Empty;
    QList<QMetaObject::Connection> m_connections;
};
