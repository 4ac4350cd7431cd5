import Clutter from 'gi://Clutter';
import Meta from 'gi://Meta';
import {BackgroundManager} from 'resource:///org/gnome/shell/ui/background.js';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import {WorkspaceGroup} from 'resource:///org/gnome/shell/ui/workspaceAnimation.js';
import {ThumbnailsBox} from 'resource:///org/gnome/shell/ui/workspaceThumbnail.js';
import {RoundedCorners} from './roundedCorners.js';

const kMore = 2; // pixels

/** Methods of the shell that do something else until undo(). */
class Replacements {
    constructor() {
        this._originals = [];
    }

    /** `make` gets the original and returns the method in its place. */
    replace(prototype, name, make) {
        const original = prototype[name];
        if (typeof original === 'function') {
            prototype[name] = make(original);
            this._originals.unshift([prototype, name, original]);
        }
    }

    undo() {
        for (const [prototype, name, original] of this._originals) {
            prototype[name] = original;
        }
    }
}

/** A copy at the window's own place, behind what else is on the actor. */
function mirrorInPlace(source, actor) {
    const mirror = new Clutter.Clone({source, x: source.x, y: source.y});
    actor.insert_child_at_index(mirror, 0);
    return mirror;
}

/**
 * The part of a monitor that the overview shows: what panels leave. A little more hides the shell's
 * own background at the edges.
 */
function boundsOn(monitor) {
    const area = Main.layoutManager.getWorkAreaForMonitor(monitor);
    const {x, y} = global.display.get_monitor_geometry(monitor);
    const left = area.x - x;
    const top = area.y - y;
    return [left - kMore, top - kMore, left + area.width + kMore, top + area.height + kMore];
}

/**
 * A copy that fills the actor, whatever size that gets. It has no size of its own, which would have
 * a say in the actor's.
 */
function mirrorAcross(source, actor, monitor) {
    const mirror = new Clutter.Actor({width: 0, height: 0});
    const clone = new Clutter.Clone({source});
    const corners = new RoundedCorners();
    const content = actor.content;
    mirror.add_child(clone);
    clone.add_effect(corners);
    const fit = () => mirror.set_scale(actor.width / source.width, actor.height / source.height);
    const round = () => corners.setShape(boundsOn(monitor), content.rounded_clip_radius);
    const connections = [[actor, actor.connect('notify::allocation', fit)],
        [source, source.connect('notify::allocation', fit)],
        [content, content.connect('notify::rounded-clip-radius', round)]];
    mirror.connect('destroy', () => {
        connections.forEach(([object, connection]) => object.disconnect(connection));
    });
    fit();
    round();
    actor.add_child(mirror);
    return mirror;
}

/**
 * Shows each wallpaper on every picture that the shell has of its monitor's background: in the
 * overview, on the thumbnails of workspaces, and while workspaces move by.
 */
export class WallpaperMirrors {
    constructor() {
        this._wallpapers = [];
        this._places = new Map(); // the actors to show a mirror in, with their monitors
        this._mirrors = new Map(); // the mirrors, by these actors
        this._replacements = new Replacements();
        this._followBackgrounds();
        this._followThumbnails();
        this._hideFromAnimations();
        this._findBackgrounds(Main.layoutManager.overviewGroup);
    }

    destroy() {
        this._replacements.undo();
        for (const [actor, {connection}] of this._places) {
            actor.disconnect(connection);
        }
        this._places.clear();
        this.setWallpapers([]);
    }

    setWallpapers(wallpapers) {
        this._wallpapers = wallpapers;
        for (const [actor, mirror] of [...this._mirrors]) {
            const place = this._places.get(actor);
            const isRight = place && wallpapers.includes(mirror.wallpaper) &&
                mirror.wallpaper.get_monitor() === place.monitor;
            if (!isRight) {
                mirror.destroy();
            }
        }
        for (const actor of this._places.keys()) {
            this._fill(actor);
        }
    }

    /** The desktop's own backgrounds lie beneath the wallpapers themselves. */
    _followBackgrounds() {
        const mirrors = this;
        this._replacements.replace(
            BackgroundManager.prototype, '_createBackgroundActor', original => function (...args) {
                const actor = original.apply(this, args);
                if (!this._controlPosition) {
                    mirrors._add(actor, {monitor: this._monitorIndex, isThumbnail: false});
                }
                return actor;
            });
    }

    _followThumbnails() {
        const mirrors = this;
        this._replacements.replace(
            ThumbnailsBox.prototype, 'addThumbnails', original => function (...args) {
                original.apply(this, args);
                mirrors._addThumbnails(this._thumbnails || []);
            });
    }

    _addThumbnails(thumbnails) {
        for (const {_contents: contents, monitorIndex: monitor} of thumbnails) {
            if (contents && !this._places.has(contents)) {
                this._add(contents, {monitor, isThumbnail: true});
            }
        }
    }

    /** The shell would show windows of all workspaces in front of the others. */
    _hideFromAnimations() {
        const mirrors = this;
        this._replacements.replace(
            WorkspaceGroup.prototype, '_shouldShowWindow', original => function (window) {
                return !mirrors._wallpapers.includes(window) && original.call(this, window);
            });
    }

    /** The overview may be there already. */
    _findBackgrounds(actor) {
        if (actor instanceof Meta.BackgroundActor) {
            this._add(actor, {monitor: actor.monitor, isThumbnail: false});
        } else if (actor instanceof ThumbnailsBox) {
            this._addThumbnails(actor._thumbnails || []);
        } else {
            actor.get_children().forEach(child => this._findBackgrounds(child));
        }
    }

    _add(actor, place) {
        const connection = actor.connect('destroy', () => {
            this._places.delete(actor);
            this._mirrors.delete(actor);
        });
        this._places.set(actor, Object.assign({connection}, place));
        this._fill(actor);
    }

    _fill(actor) {
        const {monitor, isThumbnail} = this._places.get(actor);
        const wallpaper = this._wallpapers.find(window => window.get_monitor() === monitor);
        const source = wallpaper ? wallpaper.get_compositor_private() : null;
        if (!source || this._mirrors.has(actor)) {
            return;
        }
        const mirror = isThumbnail
            ? mirrorInPlace(source, actor)
            : mirrorAcross(source, actor, monitor);
        mirror.wallpaper = wallpaper;
        this._mirrors.set(actor, mirror);
        const destroying = source.connect('destroy', () => mirror.destroy());
        mirror.connect('destroy', () => {
            source.disconnect(destroying);
            this._mirrors.delete(actor);
        });
    }
}
