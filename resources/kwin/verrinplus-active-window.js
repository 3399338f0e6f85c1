// Loaded into KWin by VerrinPlus: tells it the active window's caption, resource class and process id
// whenever another window becomes active or the active one changes its caption. One script for
// KWin 5 (clients, clientActivated) and KWin 6 (windows, windowActivated). VerrinPlus writes the bus
// name it listens on into the first line when it loads the script.
var receiver = "@RECEIVER@";
var watched = null;

// KWin 5 hands some strings over as byte arrays.
function text(value) {
    if (value === undefined || value === null) {
        return "";
    }
    if (typeof value === "string") {
        return value;
    }
    if (value instanceof ArrayBuffer) {
        return String.fromCharCode.apply(null, new Uint8Array(value));
    }
    return String(value);
}

function report() {
    var w = watched;
    callDBus(receiver, "/com/verrin/VerrinPlus/KWin", "com.verrin.VerrinPlus.KWin", "activeWindowChanged",
             w ? text(w.caption) : "", w ? text(w.resourceClass) : "", w ? String(w.pid || 0) : "0");
}

function follow(window) {
    if (watched) {
        try {
            watched.captionChanged.disconnect(report);
        } catch (e) {
            // the window is already gone
        }
    }
    watched = window || null;
    if (watched) {
        watched.captionChanged.connect(report);
    }
    report();
}

(workspace.windowActivated || workspace.clientActivated).connect(follow);
follow(workspace.activeWindow !== undefined ? workspace.activeWindow : workspace.activeClient);
