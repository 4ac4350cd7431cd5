import Gio from 'gi://Gio';
import GLib from 'gi://GLib';

const kMaxAnswer = 65536; // bytes
const kMaxUnanswered = 64;
const kMaxDelay = 60; // seconds

const kLineBreak = 10;

function joined(first, second) {
    const both = new Uint8Array(first.length + second.length);
    both.set(first);
    both.set(second, first.length);
    return both;
}

/** Null where the bytes are no JSON. */
function parsed(bytes) {
    try {
        return JSON.parse(new TextDecoder().decode(bytes));
    } catch (error) {
        return null;
    }
}

/**
 * The control socket of the running host: one JSON object a line, answered in order. It never
 * blocks the shell. A host that does not answer is disconnected, and tried again later.
 */
export class HostConnection {
    constructor(connected) {
        this._connected = connected;
        this._delay = 1;
        this._isWanted = false;
        this._reset();
    }

    destroy() {
        this.setWanted(false);
    }

    isOpen() {
        return this._stream !== null;
    }

    /** Whether there is a host to connect to, and again after the connection was lost. */
    setWanted(isWanted) {
        if (isWanted === this._isWanted) {
            return;
        }
        this._isWanted = isWanted;
        this._delay = 1;
        this._stopTimer();
        if (isWanted) {
            this._open();
        } else {
            this._close();
        }
    }

    /** Sends a request, if there is a connection. `answered` gets the answer if that is ok. */
    ask(request, answered = null) {
        if (!this.isOpen()) {
            return;
        }
        this._unanswered.push(answered);
        this._unsent += `${JSON.stringify(request)}\n`;
        if (this._unanswered.length > kMaxUnanswered) {
            this._lose();
        } else {
            this._send();
        }
    }

    _reset() {
        this._stream = null;
        this._cancellable = null;
        this._unanswered = [];
        this._unsent = '';
        this._received = new Uint8Array();
        this._isSending = false;
    }

    _open() {
        const path = `${GLib.get_user_runtime_dir()}/lumivera/control`;
        const cancellable = this._cancellable = new Gio.Cancellable();
        new Gio.SocketClient().connect_async(
            new Gio.UnixSocketAddress({path}), cancellable, (client, result) => {
                try {
                    const stream = client.connect_finish(result);
                    if (cancellable.is_cancelled()) {
                        stream.close(null);
                        return;
                    }
                    this._stream = stream;
                } catch (error) {
                    this._loseUnless(cancellable);
                    return;
                }
                this._delay = 1;
                this._receive(cancellable);
                this._connected();
            });
    }

    _close() {
        if (this._cancellable) {
            this._cancellable.cancel();
        }
        if (this._stream) {
            this._stream.close_async(GLib.PRIORITY_DEFAULT, null, null);
        }
        this._reset();
    }

    /** Tries again after a while that doubles each time. */
    _lose() {
        this._close();
        this._stopTimer();
        this._timer = GLib.timeout_add_seconds(GLib.PRIORITY_DEFAULT, this._delay, () => {
            this._timer = 0;
            this._open();
            return GLib.SOURCE_REMOVE;
        });
        this._delay = Math.min(2 * this._delay, kMaxDelay);
    }

    _loseUnless(cancellable) {
        if (!cancellable.is_cancelled()) {
            this._lose();
        }
    }

    _stopTimer() {
        if (this._timer) {
            GLib.source_remove(this._timer);
            this._timer = 0;
        }
    }

    _send() {
        if (this._isSending || this._unsent === '') {
            return;
        }
        const cancellable = this._cancellable;
        const bytes = new TextEncoder().encode(this._unsent);
        this._unsent = '';
        this._isSending = true;
        this._stream.get_output_stream().write_all_async(
            bytes, GLib.PRIORITY_DEFAULT, cancellable, (stream, result) => {
                try {
                    stream.write_all_finish(result);
                } catch (error) {
                    this._loseUnless(cancellable);
                    return;
                }
                if (!cancellable.is_cancelled()) {
                    this._isSending = false;
                    this._send();
                }
            });
    }

    _receive(cancellable) {
        this._stream.get_input_stream().read_bytes_async(
            4096, GLib.PRIORITY_DEFAULT, cancellable, (stream, result) => {
                let bytes = null;
                try {
                    bytes = stream.read_bytes_finish(result);
                } catch (error) {
                    this._loseUnless(cancellable);
                    return;
                }
                if (cancellable.is_cancelled()) {
                    return;
                }
                this._received = joined(this._received, bytes.toArray());
                const isEnd = bytes.get_size() === 0 || this._received.length > kMaxAnswer;
                if (isEnd || !this._takeLines(cancellable)) {
                    this._loseUnless(cancellable);
                } else {
                    this._receive(cancellable);
                }
            });
    }

    /** False when the connection is over, or the other end is no host. */
    _takeLines(cancellable) {
        for (let end; (end = this._received.indexOf(kLineBreak)) >= 0;) {
            const answer = parsed(this._received.subarray(0, end));
            this._received = this._received.slice(end + 1);
            const answered = this._unanswered.shift();
            if (answered === undefined || answer === null) {
                return false;
            }
            if (answered && answer.ok) {
                answered(answer);
            }
            if (cancellable.is_cancelled()) {
                return false;
            }
        }
        return true;
    }
}
