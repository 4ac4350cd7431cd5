import GLib from 'gi://GLib';
import Meta from 'gi://Meta';

const kWindowSignals = [
    'position-changed', 'size-changed', 'workspace-changed', 'notify::minimized',
    'notify::skip-taskbar',
];
const kMaxLowerings = 20; // in that time, because another program may want the same place
const kLoweringTime = 10000000; // microseconds

function isWallpaper(window) {
    return window.get_client_type() === Meta.WindowClientType.X11 &&
        window.get_wm_class() === 'Lumivera' &&
        [Meta.WindowType.DESKTOP, Meta.WindowType.DOCK].includes(window.get_window_type());
}

function contains(rect, x, y) {
    return x >= rect.x && x < rect.x + rect.width && y >= rect.y && y < rect.y + rect.height;
}

/** Notes every change of a window that may change what is seen of the wallpapers. */
export class WindowWatch {
    constructor(changed) {
        this._changed = changed;
        this._raised = () => {};
        this._windows = new Map();
        this._lowerings = [];
        this._connections = [];
        this._connect(global.display, 'window-created', (_, window) => this._add(window));
        this._connect(global.display, 'restacked', changed);
        this._connect(global.display, 'in-fullscreen-changed', changed);
        this._connect(global.display, 'workareas-changed', changed);
        this._connect(global.workspace_manager, 'active-workspace-changed', changed);
        // Extensions with icons leave their windows out of the shell's own list.
        global.display.list_all_windows().forEach(window => this._add(window));
    }

    destroy() {
        for (const [object, connection] of this._connections) {
            object.disconnect(connection);
        }
        for (const window of [...this._windows.keys()]) {
            this._remove(window);
        }
    }

    _connect(object, signal, handler) {
        this._connections.push([object, object.connect(signal, handler)]);
    }

    _add(window) {
        const connections = kWindowSignals.map(name => window.connect(name, this._changed));
        connections.push(window.connect('raised', () => this._raised(window)));
        connections.push(window.connect('unmanaged', () => {
            this._remove(window);
            this._changed();
        }));
        this._windows.set(window, connections);
        this._changed();
    }

    _remove(window) {
        for (const connection of this._windows.get(window) || []) {
            window.disconnect(connection);
        }
        this._windows.delete(window);
    }

    wallpapers() {
        return [...this._windows.keys()].filter(
            window => isWallpaper(window) && window.get_compositor_private());
    }

    /** Undefined where there is none. */
    wallpaperAt(x, y) {
        return this.wallpapers().find(window => contains(window.get_frame_rect(), x, y));
    }

    /** The windows that a person sees as such; those with icons are in no list. */
    coveringRects() {
        return this._shown()
            .filter(window => !window.skip_taskbar)
            .map(window => window.get_frame_rect());
    }

    /** Whether it has the desktop's icons: it is in no list, and no window lies in front of it. */
    hasIconsAt(window, x, y) {
        const there = this._shown().filter(shown => contains(shown.get_frame_rect(), x, y));
        return window.skip_taskbar && there.pop() === window;
    }

    /** Other programs' windows with icons may have come beneath. On X11 the host sees to that. */
    keepWallpapersAtTheBottom() {
        if (!Meta.is_wayland_compositor()) {
            return;
        }
        let isBottom = true;
        for (const window of this._fromBottomToTop()) {
            if (!isWallpaper(window)) {
                isBottom = false;
            } else if (!isBottom && window.get_window_type() === Meta.WindowType.DESKTOP) {
                this._lower(window);
            }
        }
    }

    _lower(window) {
        const now = GLib.get_monotonic_time();
        this._lowerings = this._lowerings.filter(time => now - time < kLoweringTime);
        if (this._lowerings.length < kMaxLowerings) {
            this._lowerings.push(now);
            window.lower();
        }
    }

    /** `raised` is called with each window that is raised, as by a press on it. */
    setRaised(raised) {
        this._raised = raised;
    }

    _fromBottomToTop() {
        return global.display.sort_windows_by_stacking(
            [...this._windows.keys()].filter(window => window.get_compositor_private()));
    }

    /** From the bottom to the top, without the wallpapers. */
    _shown() {
        const workspace = global.workspace_manager.get_active_workspace();
        return this._fromBottomToTop().filter(
            window => !isWallpaper(window) && window.located_on_workspace(workspace) &&
                window.showing_on_its_workspace());
    }
}
