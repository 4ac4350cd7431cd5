import QtQuick 2.15
import org.kde.taskmanager 0.1 as TaskManager
import org.lumivera.plasma 1.0 as Lumivera

// Whether windows hide all of a screen, from Plasma's own list of windows.
Item {
    id: root

    property rect screenGeometry
    property int cover: Lumivera.LivePicture.Visible

    TaskManager.VirtualDesktopInfo {
        id: desktops
    }

    TaskManager.ActivityInfo {
        id: activities
    }

    TaskManager.TasksModel {
        id: tasks

        groupMode: TaskManager.TasksModel.GroupDisabled
        sortMode: TaskManager.TasksModel.SortDisabled
        virtualDesktop: desktops.currentDesktop
        activity: activities.currentActivity
        screenGeometry: root.screenGeometry
        filterByVirtualDesktop: true
        filterByActivity: true
        filterByScreen: true

        onCountChanged: settle.restart()
        onDataChanged: settle.restart()
        onActiveTaskChanged: settle.restart()
    }

    // A window tells its changes in several steps.
    Timer {
        id: settle

        interval: 100
        onTriggered: root.cover = root.coverNow()
    }

    onScreenGeometryChanged: settle.restart()
    Component.onCompleted: settle.restart()

    function coverNow() {
        const Role = TaskManager.AbstractTasksModel;
        let cover = Lumivera.LivePicture.Visible;
        for (let row = 0; row < tasks.count; ++row) {
            const index = tasks.makeModelIndex(row);
            const is = role => tasks.data(index, role) === true;
            if (!is(Role.IsWindow) || is(Role.IsMinimized) || is(Role.IsHidden)) {
                continue;
            }
            if (is(Role.IsFullScreen)) {
                return Lumivera.LivePicture.FullScreen;
            }
            if (is(Role.IsMaximized)) {
                cover = Lumivera.LivePicture.Covered;
            }
        }
        return cover;
    }
}
