import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import {coverOf} from './coverage.js';
import {DesktopClicks} from './desktopClicks.js';
import {HostConnection} from './hostConnection.js';
import {WallpaperMirrors} from './wallpaperMirrors.js';
import {WindowWatch} from './windowWatch.js';

const kSettlingTime = 100; // milliseconds, because a window that is dragged changes all the time

/** All that the extension does, from its construction until destroy(). */
export class LumiveraDesktop {
    constructor() {
        this._told = new Map();
        this._connection = new HostConnection(() => this._becomeConnected());
        this._mirrors = new WallpaperMirrors();
        this._windows = new WindowWatch(() => this._changeSoon());
        this._clicks = new DesktopClicks(this._windows, (x, y) => this._tap(x, y));
        this._showing = Main.overview.connect('showing', () => this._change());
        this._hidden = Main.overview.connect('hidden', () => this._change());
        this._change();
    }

    destroy() {
        Main.overview.disconnect(this._showing);
        Main.overview.disconnect(this._hidden);
        if (this._timer) {
            GLib.source_remove(this._timer);
            this._timer = 0;
        }
        this._clicks.destroy();
        this._windows.destroy();
        this._mirrors.destroy();
        this._connection.destroy();
    }

    _changeSoon() {
        if (!this._timer) {
            this._timer = GLib.timeout_add(GLib.PRIORITY_DEFAULT, kSettlingTime, () => {
                this._timer = 0;
                this._change();
                return GLib.SOURCE_REMOVE;
            });
        }
    }

    _change() {
        const wallpapers = this._windows.wallpapers();
        this._mirrors.setWallpapers(wallpapers);
        this._connection.setWanted(wallpapers.length > 0);
        this._windows.keepWallpapersAtTheBottom();
        this._tellCovers(wallpapers);
    }

    _becomeConnected() {
        this._told.clear();
        this._change();
    }

    _tellCovers(wallpapers) {
        if (!this._connection.isOpen()) {
            return;
        }
        const told = this._told;
        this._told = new Map(); // without outputs that have gone
        for (const wallpaper of wallpapers) {
            const output = wallpaper.get_role();
            const state = this._coverOf(wallpaper);
            this._told.set(wallpaper, state); // an output that comes back has a new window
            if (output && told.get(wallpaper) !== state) {
                this._connection.ask({do: 'cover', output, state});
            }
        }
    }

    /** Everything is shown in the overview. On X11 the host itself sees the windows, and better. */
    _coverOf(wallpaper) {
        const monitor = wallpaper.get_monitor();
        if (Main.overview.visible || monitor < 0) {
            return 'none';
        }
        if (!Meta.is_wayland_compositor()) {
            return 'unknown';
        }
        if (global.display.get_monitor_in_fullscreen(monitor)) {
            return 'fullscreen';
        }
        const area = Main.layoutManager.getWorkAreaForMonitor(monitor);
        return coverOf(area, this._windows.coveringRects());
    }

    /** The window's place on the stage leads to the place in the wallpaper, in its points. */
    _tap(x, y) {
        const wallpaper = this._windows.wallpaperAt(x, y);
        if (!wallpaper || !this._connection.isOpen()) {
            return;
        }
        const output = wallpaper.get_role();
        const frame = wallpaper.get_frame_rect();
        this._connection.ask({do: 'status', output}, answer => {
            const [{width, height, density} = {}] = answer.outputs || [];
            if (density > 0) {
                this._connection.ask({
                    do: 'tap',
                    output,
                    x: (x - frame.x) / frame.width * width / density,
                    y: (y - frame.y) / frame.height * height / density,
                });
            }
        });
    }
}
