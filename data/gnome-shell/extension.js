// Tells Pelgra of drags: that one has begun and with which files, where the pointer is, which of button and modifiers
// are down, and when it ends. Signals go to the owner of Pelgra's name on the session bus and to nobody else; without
// an owner nothing is watched. While a drag runs the Super key doesn't open the overview.
//
// Written for GNOME 45 and later; the build makes the variant for 43 and 44 by exchanging how modules are named.
import Clutter from 'gi://Clutter';
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import GObject from 'gi://GObject';
import Meta from 'gi://Meta';

const LISTENER = 'org.pelgra.Pelgra';
const PATH = '/org/pelgra/DragWatch';
const INTERFACE = 'org.pelgra.DragWatch1';
const SAMPLING_MILLISECONDS = 16; // a short tap lasts longer
const MOST_BYTES = 8 * 1024 * 1024; // of a list of files
const DRAGS = Meta.SelectionType.SELECTION_DND;

export default class DragWatch {
    enable() {
        this._serial = 0;
        this._nameWatch = Gio.bus_watch_name_on_connection(Gio.DBus.session, LISTENER, Gio.BusNameWatcherFlags.NONE,
            (connection, name, owner) => this._begin(owner), () => this._stop());
    }

    disable() {
        Gio.bus_unwatch_name(this._nameWatch);
        this._tell('Watching', '(b)', [false]);
        this._stop();
    }

    // Pelgra has come.
    _begin(owner) {
        this._stop();
        this._listener = owner;
        this._selection = global.display.get_selection();
        this._selectionWatch = this._selection.connect('owner-changed', (selection, type, source) => {
            if (type === DRAGS)
                source ? this._dragBegan() : this._dragEnded();
        });
        this._tell('Watching', '(b)', [true]);
    }

    // Pelgra has gone, or this extension goes.
    _stop() {
        this._listener = null;
        this._selection?.disconnect(this._selectionWatch);
        this._selection = null;
        this._isDragging = false;
        if (this._sampling)
            GLib.source_remove(this._sampling);
        this._sampling = 0;
        this._keepSuper(false);
    }

    _tell(signal, signature, values) {
        if (this._listener)
            Gio.DBus.session.emit_signal(this._listener, PATH, INTERFACE, signal, new GLib.Variant(signature, values));
    }

    _dragBegan() {
        this._isDragging = true;
        this._latest = '';
        this._keepSuper(true);
        // The pointer is told on a stage of this size; the X server's may be larger where the screen is scaled.
        this._tell('Started', '(uii)', [++this._serial, global.screen_width, global.screen_height]);
        this._sample();
        if (!this._sampling) {
            this._sampling = GLib.timeout_add(GLib.PRIORITY_DEFAULT, SAMPLING_MILLISECONDS, () => {
                if (this._sample())
                    return GLib.SOURCE_CONTINUE;
                this._sampling = 0;
                return GLib.SOURCE_REMOVE;
            });
        }
        this._readFiles(this._serial);
    }

    _dragEnded() {
        if (this._isDragging)
            this._tell('Ended', '(u)', [this._serial]);
        this._isDragging = false; // the next sample is the last, unless Super is still down
    }

    // Whether to go on.
    _sample() {
        const [x, y, state] = global.get_pointer();
        if (!this._isDragging) {
            const isHeld = (state & (Clutter.ModifierType.MOD4_MASK | Clutter.ModifierType.SUPER_MASK)) !== 0;
            this._keepSuper(isHeld); // or letting it go would open the overview
            return isHeld;
        }
        const latest = `${x} ${y} ${state}`;
        if (latest !== this._latest)
            this._tell('Sample', '(uiiu)', [this._serial, x, y, state]);
        this._latest = latest;
        return true;
    }

    _readFiles(serial) {
        if (!this._selection.get_mimetypes(DRAGS).includes('text/uri-list')) {
            this._tell('Files', '(uay)', [serial, []]);
            return;
        }
        const stream = Gio.MemoryOutputStream.new_resizable();
        this._selection.transfer_async(DRAGS, 'text/uri-list', MOST_BYTES, stream, null, (selection, result) => {
            try {
                selection.transfer_finish(result);
                stream.close(null);
            } catch {
                return; // the drag has ended, or its source has gone
            }
            if (this._isDragging && serial === this._serial)
                this._tell('Files', '(uay)', [serial, stream.steal_as_bytes().toArray()]);
        });
    }

    // The shell opens its overview when it hears of the key.
    _keepSuper(keeps) {
        if (keeps && !this._overviewHandler) {
            this._overviewHandler = GObject.signal_handler_find(global.display, {signalId: 'overlay-key'});
            if (this._overviewHandler)
                GObject.signal_handler_block(global.display, this._overviewHandler);
        } else if (!keeps && this._overviewHandler) {
            GObject.signal_handler_unblock(global.display, this._overviewHandler);
            this._overviewHandler = 0;
        }
    }
}
