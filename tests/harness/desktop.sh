#!/usr/bin/env bash
# Runs a command on a virtual desktop of its own and ends with the command's exit code:
#   desktop.sh [--screen WxH] [--audio] -- command [argument…]
# Starts Xvfb on a free display and, with --audio, a PulseAudio server with the virtual microphone
# "virtmic" (description VirtMic); what is played to its sink "mic" is what the microphone hears:
#   paplay --device=mic tone.wav
# Everything that was started here is ended here, by its process id.
set -u
screen=1920x1080 audio=0
while [ $# -gt 0 ]; do
    case "$1" in
        --screen) screen=$2; shift 2 ;;
        --audio) audio=1; shift ;;
        --) shift; break ;;
        *) echo "desktop.sh: unknown option $1" >&2; exit 2 ;;
    esac
done

dir=$(mktemp -d) || exit 1
chmod 700 "$dir"
mkdir -m 700 "$dir/run" "$dir/config" "$dir/home"
pids=()
finish() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
    for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null; done
    rm -rf "$dir"
}
trap finish EXIT
trap 'exit 143' TERM INT

# -noreset: a server that resets with its last client would lose its monitors and background.
Xvfb -displayfd 3 -screen 0 "${screen}x24" -nolisten tcp -noreset 3>"$dir/display" 2>"$dir/xvfb.log" &
pids+=($!)
for _ in $(seq 100); do [ -s "$dir/display" ] && break; sleep 0.1; done
[ -s "$dir/display" ] || { cat "$dir/xvfb.log" >&2; echo "desktop.sh: Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$(cat "$dir/display")"
export XDG_RUNTIME_DIR="$dir/run" XDG_CONFIG_HOME="$dir/config" XDG_SESSION_TYPE=x11
unset WAYLAND_DISPLAY

if [ "$audio" = 1 ]; then
    export PULSE_SERVER="unix:$dir/run/pulse.sock" PULSE_COOKIE="$dir/run/cookie" PULSE_RUNTIME_PATH="$dir/run"
    HOME="$dir/home" pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --log-target=stderr \
        -L "module-native-protocol-unix auth-anonymous=1 socket=$dir/run/pulse.sock" \
        -L "module-null-sink norewinds=1 sink_name=mic rate=48000 channels=2 format=s32le" \
        2>"$dir/pulse.log" &
    pids+=($!)
    export PODIUMCAST_TEST_PULSE_PID=$!
    for _ in $(seq 100); do pactl info >/dev/null 2>&1 && break; sleep 0.1; done
    pactl load-module module-remap-source source_name=virtmic master=mic.monitor channels=1 \
        master_channel_map=front-left channel_map=mono \
        source_properties=device.description=VirtMic >/dev/null ||
        { cat "$dir/pulse.log" >&2; echo "desktop.sh: no virtual microphone" >&2; exit 1; }
fi

"$@" &
child=$!
trap 'kill "$child" 2>/dev/null; exit 143' TERM INT
wait "$child"
