import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';
import {LumiveraDesktop} from './lumiveraDesktop.js';

export default class LumiveraExtension extends Extension {
    enable() {
        this._desktop = new LumiveraDesktop();
    }

    disable() {
        this._desktop.destroy();
        this._desktop = null;
    }
}
