// GNOME Shell 45 and later. Exports the focused window's title, WM class and process id on the
// session bus (as org.gnome.Shell, /com/verrin/VerrinPlus/ActiveWindow) for VerrinPlus, and signals
// each change so VerrinPlus never has to ask. Kept small on purpose: VerrinPlus does the rest.
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';

const IFACE = `<node><interface name="com.verrin.VerrinPlus.ActiveWindow">
<method name="Get"><arg type="s" direction="out"/><arg type="s" direction="out"/><arg type="u" direction="out"/></method>
<signal name="Changed"><arg type="s"/><arg type="s"/><arg type="u"/></signal>
</interface></node>`;

export default class VerrinPlusWindowReporter extends Extension {
    enable() {
        this._window = null;
        this._titleId = 0;
        this._dbus = Gio.DBusExportedObject.wrapJSObject(IFACE, this);
        this._dbus.export(Gio.DBus.session, '/com/verrin/VerrinPlus/ActiveWindow');
        this._focusId = global.display.connect('notify::focus-window', () => this._follow());
        this._follow();
    }

    disable() {
        global.display.disconnect(this._focusId);
        this._follow(true);
        this._dbus.unexport();
        this._dbus = null;
    }

    Get() {
        const w = this._window;
        return w ? [w.get_title() ?? '', w.get_wm_class() ?? '', Math.max(0, w.get_pid())] : ['', '', 0];
    }

    _follow(stopping = false) {
        if (this._window && this._titleId)
            this._window.disconnect(this._titleId);
        this._window = stopping ? null : global.display.focus_window;
        this._titleId = this._window ? this._window.connect('notify::title', () => this._changed()) : 0;
        this._changed();
    }

    _changed() {
        this._dbus.emit_signal('Changed', new GLib.Variant('(ssu)', this.Get()));
    }
}
