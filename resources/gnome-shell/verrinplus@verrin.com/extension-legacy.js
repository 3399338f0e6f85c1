// GNOME Shell 43 and 44 (before extensions became modules); VerrinPlus installs this file as
// extension.js there. The same as extension.js otherwise.
const {Gio, GLib} = imports.gi;

const IFACE = `<node><interface name="com.verrin.VerrinPlus.ActiveWindow">
<method name="Get"><arg type="s" direction="out"/><arg type="s" direction="out"/><arg type="u" direction="out"/></method>
<signal name="Changed"><arg type="s"/><arg type="s"/><arg type="u"/></signal>
</interface></node>`;

class VerrinPlusWindowReporter {
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

function init() {
    return new VerrinPlusWindowReporter();
}
