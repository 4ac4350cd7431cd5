import Clutter from 'gi://Clutter';
import Meta from 'gi://Meta';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';

/**
 * Tells of presses of the main button and of fingers on the empty desktop, and takes none of them
 * from the menu or the icons. On X11 the host hears them itself.
 */
export class DesktopClicks {
    constructor(windows, tapped) {
        this._windows = windows;
        this._tapped = tapped;
        this._connections = [];
        if (Meta.is_wayland_compositor()) {
            this._hearTheBackground();
            this._hearTheIcons();
        }
    }

    destroy() {
        for (const [object, connection] of this._connections) {
            object.disconnect(connection);
        }
    }

    /** Pointers pass through the wallpaper to the background, which has the shell's menu. */
    _hearTheBackground() {
        const background = Main.layoutManager._backgroundGroup;
        if (background) {
            this._connect(background, 'captured-event', (_, event) => {
                this._hear(event);
                return Clutter.EVENT_PROPAGATE;
            });
        }
    }

    /** No event on another program's window reaches the shell's actors, but a press raises it. */
    _hearTheIcons() {
        this._windows.setRaised(window => {
            const event = Clutter.get_current_event();
            if (event && this._windows.hasIconsAt(window, ...event.get_coords())) {
                this._hear(event);
            }
        });
    }

    _hear(event) {
        const isPress = event.type() === Clutter.EventType.BUTTON_PRESS &&
            event.get_button() === Clutter.BUTTON_PRIMARY;
        if (isPress || event.type() === Clutter.EventType.TOUCH_BEGIN) {
            this._tapped(...event.get_coords());
        }
    }

    _connect(object, signal, handler) {
        this._connections.push([object, object.connect(signal, handler)]);
    }
}
