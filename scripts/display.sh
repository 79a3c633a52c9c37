# A virtual display, windows on it, keys and pictures; source it after common.sh and languages.sh.

XVFB=""

# Xvfb picks a free display number by itself, and says which once it answers.
start_display() {
    local answer="$OUT/demo/display" tries
    : >"$answer"
    Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>"$answer" >"$LOG/Xvfb.log" 2>&1 &
    XVFB=$!
    for tries in {1..150}; do
        if [ "$(wc -l <"$answer")" -eq 1 ]; then
            export DISPLAY=":$(cat "$answer")"
            return 0
        fi
        kill -0 "$XVFB" 2>/dev/null || break
        sleep 0.2
    done
    cat "$LOG/Xvfb.log" >&2
    die "Xvfb did not start"
}
stop_display() {
    [ -z "$XVFB" ] || kill "$XVFB" 2>/dev/null || true
    XVFB=""
    unset DISPLAY
}

# Looks that the pictures need: zebdiag's windows get frames although no window manager runs, their buttons symbols, and
# the Latin font the letters that it lacks.
dress_prefix() {
    cp /usr/share/wine/fonts/marlett.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
    wine reg add 'HKCU\Software\Wine\AppDefaults\zebdiag.exe\X11 Driver' /v Managed /d N /f
    wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\FontLink\SystemLink' /v 'DejaVu Sans' \
        /t REG_MULTI_SZ /d 'wqy-microhei.ttc,WenQuanYi Micro Hei' /f
}

# open_window NAME LCID ARGUMENT...: runs zebdiag, whose window is then on the display; its output is in
# out/demo/NAME.txt, what it says about the window in out/demo/NAME.events.
open_window() {
    local name=$1 language=$2
    shift 2
    EVENTS="$OUT/demo/$name.events"
    : >"$EVENTS"
    in_language "$language" wine "$ZEBDIAG" "$@" >"$OUT/demo/$name.txt" 2>"$EVENTS" </dev/null &
    WINDOW=$!
    local tries
    for tries in {1..300}; do
        ! grep -q '^shown' "$EVENTS" || return 0
        kill -0 "$WINDOW" 2>/dev/null || break
        sleep 0.2
    done
    cat "$OUT/demo/$name.txt" "$EVENTS" >&2
    die "zebdiag $1 showed no window"
}

# highlight WHAT: presses the Down key until the menu says that this is highlighted. Each press waits for its answer,
# since a key that comes too early would be lost.
highlight() {
    local presses seen tries
    for presses in {1..20}; do
        seen=$(wc -l <"$EVENTS")
        xdotool key Down
        for tries in {1..50}; do
            [ "$(wc -l <"$EVENTS")" -eq "$seen" ] || break
            sleep 0.1
        done
        tail -n 1 "$EVENTS" | grep -qx "highlighted $1" && return 0
    done
    cat "$EVENTS" >&2
    die "'$1' cannot be reached with the keyboard"
}

# picture FILE: what the display shows, without the empty space around, once it no longer changes.
picture() {
    local file=$1 last="" now tries
    for tries in {1..40}; do
        import -silent -window root "$file"
        now=$(cksum <"$file")
        [ "$now" != "$last" ] || break
        last=$now
        sleep 0.3
    done
    convert "$file" -trim +repage -strip +dither -colors 128 "$file.png" && mv "$file.png" "$file"
    [ "$(identify -format %k "$file")" -gt 8 ] || die "$file shows nothing"
}

# close_window CODE NAME KEY: presses the key, which ends zebdiag; its exit code must be CODE.
close_window() {
    local code=0
    xdotool key "$3"
    wait "$WINDOW" || code=$?
    if [ "$code" -ne "$1" ]; then
        cat "$OUT/demo/$2.txt" "$EVENTS" >&2
        die "zebdiag ended with exit code $code"
    fi
}
