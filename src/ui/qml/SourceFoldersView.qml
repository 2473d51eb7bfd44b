import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Dialogs
import QtQuick.Layouts
import Orvanta.Ui

// The Video Folders page: the source folders with add and remove, and whether sub-folders are
// searched.
FormPage {
    id: page


    FolderListModel { id: folders }

    FolderDialog {
        id: chooser
        title: "Add Video Folder"
        acceptLabel: "Add"
        currentFolder: folders.startFolder
        onAccepted: folders.addFolder(selectedFolder)
    }

    ColumnLayout {
        width: page.availableWidth - 40
        x: 20
        spacing: 20

        Item { implicitHeight: 0 }

        FormSection {
            Layout.fillWidth: true
            title: "Video Folders"
            footer: folders.footerText
            header: [
                SymbolButton {
                    text: "Add Folder"
                    symbol: "plus"
                    symbolSize: 16
                    onClicked: chooser.open()
                },
                SymbolButton {
                    text: "Remove Last Folder"
                    symbol: "minus"
                    symbolSize: 16
                    enabled: folders.count > 0
                    ToolTip.text: enabled ? text : "No folder to remove"
                    onClicked: folders.removeFolder(folders.count - 1)
                }
            ]

            ColumnLayout {
                Layout.fillWidth: true
                Layout.topMargin: 16
                Layout.bottomMargin: 16
                visible: folders.count === 0
                spacing: 6
                Symbol {
                    Layout.alignment: Qt.AlignHCenter
                    symbol: "folder.badge.plus"
                    size: 32
                    color: Theme.secondaryText
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "No video folders configured"
                    color: Theme.secondaryText
                }
                Label {
                    Layout.alignment: Qt.AlignHCenter
                    text: "Click + to add one"
                    font.pixelSize: Theme.caption
                    color: Theme.secondaryText
                }
            }
            Repeater {
                model: folders
                delegate: ItemDelegate {
                    id: row
                    required property string name
                    required property string path
                    required property int index
                    Layout.fillWidth: true
                    focusPolicy: Qt.StrongFocus
                    Accessible.name: name
                    padding: 4
                    background: Rectangle {
                        radius: 6
                        color: row.hovered ? Qt.rgba(1, 1, 1, 0.06) : "transparent"
                        border.width: row.visualFocus ? 1 : 0
                        border.color: Theme.accent
                    }
                    // The list's delete action.
                    Keys.onDeletePressed: folders.removeFolder(index)
                    contentItem: RowLayout {
                        spacing: 10
                        Symbol {
                            symbol: "folder.fill"
                            size: 20
                            color: Theme.accent
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 1
                            Label {
                                Layout.fillWidth: true
                                text: row.name
                                elide: Text.ElideMiddle
                            }
                            Label {
                                Layout.fillWidth: true
                                text: row.path
                                font.pixelSize: Theme.caption
                                color: Theme.secondaryText
                                elide: Text.ElideMiddle
                            }
                        }
                    }
                    ToolTip.visible: hovered
                    ToolTip.text: path
                    ToolTip.delay: 600
                }
            }
        }

        FormSection {
            Layout.fillWidth: true
            title: "Options"
            footer: "Enable to scan folders recursively for video files."
            SettingsSwitch {
                Layout.fillWidth: true
                text: "Search Subfolders"
                checked: folders.recursiveScan
                onToggled: folders.recursiveScan = checked
            }
        }

        Item { implicitHeight: 0 }
    }
}
