import QtQuick
import QtQuick.Controls.Fusion

// A settings page that scrolls: as Tab moves the keyboard focus through its controls, the page
// scrolls so that the focused control is in view.
ScrollView {
    id: page

    contentWidth: availableWidth

    function reveal(item) {
        const flickable = page.contentItem;
        if (!item || !flickable || !flickable.contentItem)
            return;
        let ancestor = item;
        while (ancestor && ancestor !== flickable.contentItem)
            ancestor = ancestor.parent;
        if (!ancestor)
            return;
        const margin = 12;
        const top = item.mapToItem(flickable.contentItem, 0, 0).y;
        const bottom = top + item.height;
        if (top - margin < flickable.contentY)
            flickable.contentY = Math.max(0, top - margin);
        else if (bottom + margin > flickable.contentY + flickable.height)
            flickable.contentY = Math.min(flickable.contentHeight - flickable.height,
                                          bottom + margin - flickable.height);
    }

    Connections {
        target: page.Window.window
        function onActiveFocusItemChanged() { page.reveal(page.Window.activeFocusItem) }
    }
}
