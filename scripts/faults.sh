#!/bin/sh
# Makes real runs of stamp-encoder fail: full disks, readers that stall or go away, inputs that vanish, signals.
# usage: scripts/faults.sh [PRESET]   (default: release; half a minute)
#
# After each: the exit code that --help promises, one line that names what failed, no run that hangs, and an output
# which FFmpeg decodes without a complaint and which holds the pictures of the summary with the times of the table.
#
# Two things nobody could tell: that a pipe or connection ended too early but between two packets, since a transport
# stream has no mark at its end; and what a reader has of a picture inside which it went away. An end inside a packet is
# looked for in packets of 188 bytes only, not in those of 192 and 204.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $DEMO_PACKAGES
preset=${1:-release}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target stamp-encoder >/dev/null
encoder=$PWD/build/$preset/bin/stamp-encoder

work=$(mktemp -d)
helpers="" # process ids of what a case has started beside the program
quit_helpers() {
    for helper in $helpers; do
        kill -9 "$helper" 2>/dev/null || true
        wait "$helper" 2>/dev/null || true
    done
    helpers=""
}
trap 'quit_helpers; rm -rf "$work"' EXIT
trap 'exit 130' INT TERM
cd "$work"

# --- Running the program ---------------------------------------------------------------------------------------------

hang=60 # seconds that no run here needs, on the busiest machine

# run ARGUMENT...: the exit code in $code; 124 or 137 where it had to be ended. The program's id in the file "pid".
run() {
    code=0
    # shellcheck disable=SC2016 # expanded by the inner shell, which becomes the program
    timeout -k 5 "$hang" sh -c 'echo $$ >pid; exec "$@"' sh "$encoder" "$@" || code=$?
}

code() { # ARGUMENT...: codes, with both streams kept
    run --preset ultrafast "$@" >out 2>err
}

# The same beside the script, which ends it with "finish".
start() {
    rm -f pid
    (
        trap - EXIT
        "$@"
        exit "$code"
    ) &
    running=$!
}

finish() {
    code=0
    wait "$running" || code=$?
}

# until_true COMMAND...: waits for what must happen before the program ends.
until_true() {
    until "$@"; do
        kill -0 "$running" 2>/dev/null || {
            problem "ended before: $*"
            return 0
        }
        sleep 0.05
    done
}

send() { # SIGNAL, to the program
    kill -"$1" "$(cat pid)" || problem "no program to send SIG$1"
}

has_rows() { # COUNT: the table has them
    [ -r table.csv ] && [ "$(wc -l <table.csv)" -gt "$1" ]
}

has_bytes() { # FILE COUNT
    [ -r "$1" ] && [ "$(wc -c <"$1")" -ge "$2" ]
}

takes_signals() { # the program has come as far as to handle SIGINT, the second bit
    [ -s pid ] && grep -q '^SigCgt:.*[2367abef]$' "/proc/$(cat pid)/status" 2>/dev/null
}

in_use() { # tcp|udp PORT
    cat "/proc/net/$1" "/proc/net/${1}6" 2>/dev/null | grep -qi "^ *[0-9]*: [0-9A-F]*:$(printf '%04X' "$2") "
}

free_port() { # tcp|udp
    port=$((20000 + $$ % 20000))
    while in_use "$1" "$port"; do port=$((port + 1)); done
}

# --- Demands -----------------------------------------------------------------------------------------------------

cases=0
failed=0
running_case=""
case_failed=""

problem() {
    [ -n "$case_failed" ] || echo "FAILED"
    case_failed=yes
    echo "      $*"
}

section() {
    end
    echo "$1"
}

begin() { # WHAT HAPPENS
    end
    cases=$((cases + 1))
    running_case=yes
    printf '  %s ... ' "$1"
    case_failed=""
    rm -rf out err pid table.csv ./*.fifo ./out*.ts disk
    : >out
    : >err
}

end() {
    quit_helpers
    [ -n "$running_case" ] || return 0
    running_case=""
    if [ -z "$case_failed" ]; then
        echo "ok"
    else
        failed=$((failed + 1))
        sed 's/^/      | /' err
    fi
}

# The program ended as it says in --help, by itself.
ends_with() { # EXIT-CODE
    case $code in
    "$1") ;;
    124 | 137) problem "hangs" ;;
    *) problem "exit code $code instead of $1" ;;
    esac
    if grep -qE 'terminate called|Sanitizer|runtime error|violated' err; then
        problem "fell over"
    fi
}

# One line of its own on the standard error, with this text in it. FFmpeg's own words may stand beside it.
tells() { # TEXT
    grep '^stamp-encoder: ' err | grep -v '^stamp-encoder: FFmpeg: ' >told || true
    [ "$(wc -l <told)" -eq 1 ] || problem "$(wc -l <told) messages instead of one"
    grep -qF -- "$1" told || problem "no message with: $1"
}

tells_nothing() {
    ! grep -q '^stamp-encoder: ' err || problem "a message where nothing failed"
}

# What the summary says of an input.
claimed() { # INPUT [WHAT]
    awk -v start="input $1 '" -v what="${2:-pictures coded}" '
        index($0, start) == 1 { found = 1 }
        found && index($0, what) { print $1; exit }' out err
}

# What was read before the input broke off is coded: every picture brought a time stamp.
all_read_is_coded() { # [INPUT]
    read_before=$(claimed "${1:-1}" "source 1")
    [ "$(claimed "${1:-1}")" = "$read_before" ] || problem "$(claimed "${1:-1}") of $read_before pictures are coded"
}

# The pictures in a stream, as FFmpeg sees them: PTS, UTC in microseconds, status byte and timecode of each; and its
# complaints.
pictures_of() { # FILE VIDEO-STREAM
    ffmpeg -nostdin -nostats -hide_banner -v level+info -copyts -i "$1" -map "0:v:$2" -vf showinfo -f null - \
        >decoded 2>&1 || echo "[error] ffmpeg failed" >>decoded
    # It looks for the duration near the end of a file only; that it is not there is no fault of the stream.
    grep -E '\[(warning|error|fatal|panic)\]' decoded | grep -v 'duration not set' >complaints || true
    awk '
        function value(digits,   i, n) {
            n = 0
            for (i = 1; i <= length(digits); i++)
                n = n * 16 + index("0123456789abcdef", substr(digits, i, 1)) - 1
            return n
        }
        function tell() { if (pts != "") print pts, utc, status, timecode }
        match($0, / n: *[0-9]+ pts: *[0-9]+ /) {
            tell()
            pts = substr($0, RSTART, RLENGTH)
            sub(/.*pts: */, "", pts)
            sub(/ .*/, "", pts)
            utc = status = timecode = "-"
        }
        /UUID=/ { is_stamp = /UUID=4d495350-6d69-6372-6f73-656374696d65/ }
        /User Data=/ && is_stamp {
            sub(/.*User Data=/, "")
            status = toupper(substr($0, 1, 2))
            utc = sprintf("%.0f", value(substr($0, 3, 4) substr($0, 9, 4) substr($0, 15, 4) substr($0, 21, 4)))
        }
        /side data - timecode - / { timecode = $NF }
        END { tell() }' decoded | sort >pictures
}

# The same of the table.
rows_of() { # TABLE INPUT
    awk -F, -v input="$2" '
        function or_none(text) { return text == "" ? "-" : text }
        NR == 1 { for (i = 1; i <= NF; i++) column[$i] = i; next }
        $column["input"] == input {
            status = $column["status"]
            sub(/^0x/, "", status)
            print $column["pts"], or_none($column["utc_us"]), or_none(status), $column["generated_timecode"]
        }' "$1" | sort >rows
}

# An output that can be read to its end, has as many pictures as the program claims, and the times of the table.
whole() { # FILE [INPUT [VIDEO-STREAM]]
    pictures_of "$1" "${3:-0}"
    [ ! -s complaints ] || problem "FFmpeg complains about $1: $(head -n 1 complaints)"
    [ -s pictures ] || problem "no picture in $1"
    coded=$(claimed "${2:-1}")
    [ "$(wc -l <pictures)" -eq "${coded:-0}" ] ||
        problem "$(wc -l <pictures) pictures in $1, ${coded:-none} in the summary"
}

in_table() { # [INPUT]: after "whole"
    rows_of table.csv "${1:-1}"
    cmp -s pictures rows || problem "$(comm -3 pictures rows | wc -l) pictures differ between stream and table"
}

whole_and_in_table() { # FILE [INPUT [VIDEO-STREAM]]
    whole "$@"
    in_table "${2:-1}"
}

# The table ends with a row, not inside one, and says nothing that the stream does not hold.
whole_rows() { # after "whole"
    if [ -n "$(tail -c 1 table.csv)" ] || ! awk -F, 'NF != 13 { exit 1 }' table.csv; then
        problem "the table ends inside a row"
    fi
    rows_of table.csv 1
    [ -s rows ] || problem "no row in the table"
    [ -z "$(comm -13 pictures rows)" ] || problem "the table has rows that the stream has not"
}

# --- Cases -------------------------------------------------------------------------------------------------------

seconds=3
rate=25
all=$((seconds * rate))
"$encoder" --generate in.ts --duration "$seconds" --rate "$rate" --start-utc 2026-01-01T10:00:00Z >/dev/null
inside_packet=$((188 * 3500 + 77)) # bytes, somewhere behind the middle

section "Disks that are full"

begin "the stream to a device without room"
code in.ts -o /dev/full --csv table.csv
ends_with 3
tells "output '/dev/full': No space left on device"

begin "two inputs in one stream to a device without room"
code in.ts in.ts -o /dev/full
ends_with 3
tells "output '/dev/full': No space left on device"

begin "one of two streams to a device without room"
ln -s /dev/full out1.ts
code in.ts in.ts -o out%d.ts --csv table.csv
ends_with 3
tells "output 'out1.ts': No space left on device"
whole_and_in_table out2.ts 2
[ "$(claimed 2)" -eq "$all" ] || problem "the other stream lacks pictures"

begin "the table to a device without room"
code in.ts -o out.ts --csv /dev/full
ends_with 3
tells "table '/dev/full': No space left on device"

begin "the summary to a device without room"
run --preset ultrafast in.ts -o out.ts --csv table.csv >/dev/full 2>err
ends_with 3
tells "standard output: No space left on device"
printf "input 1 '':\\n%s pictures coded\\n" "$all" >out # in place of the summary that nobody has
whole_and_in_table out.ts

begin "messages and trace to a device without room"
TIMECODE_TRACE_LEVEL=7 run --preset ultrafast in.ts -o out.ts --csv table.csv >out 2>/dev/full
ends_with 0
whole_and_in_table out.ts

# Room for a part of a picture, as on a disk: the limit on the size of a file.
begin "the stream reaches the largest size of a file"
(
    ulimit -f 1000 # of 512 bytes
    code in.ts -o out.ts --csv table.csv
    exit "$code"
) && code=0 || code=$?
ends_with 3
tells "output 'out.ts': File too large"
whole_and_in_table out.ts

begin "the table reaches the largest size of a file"
mkfifo stream.fifo
cat stream.fifo >out.ts &
helpers=$!
(
    ulimit -f 10
    code in.ts -o stream.fifo --csv table.csv
    exit "$code"
) && code=0 || code=$?
wait "$helpers" || true
ends_with 3
tells "table 'table.csv': File too large"
whole out.ts
whole_rows

begin "an input being generated reaches the largest size of a file"
(
    ulimit -f 1000
    run --generate out.ts --duration "$seconds" >out 2>err
    exit "$code"
) && code=0 || code=$?
ends_with 3
tells "output 'out.ts': File too large"
pictures_of out.ts 0
[ ! -s complaints ] || problem "FFmpeg complains: $(head -n 1 complaints)"
[ -s pictures ] || problem "no picture in it"

begin "a file system that really is full"
mkdir disk
# A file system of one's own: as root of a name space where the kernel grants one, else as root.
separate=""
for option in -rm -m; do
    # shellcheck disable=SC2016 # expanded by the inner shell
    if [ -z "$separate" ] && unshare "$option" mount -t tmpfs -o size=600k none disk 2>/dev/null; then
        separate="unshare $option"
    fi
done
if [ -n "$separate" ]; then
    code=0
    # It vanishes with the command, so what it holds is copied.
    # shellcheck disable=SC2016,SC2086 # expanded by the inner shell; a list of words
    timeout -k 5 "$hang" $separate sh -c '
        mount -t tmpfs -o size=600k none disk
        code=0
        "$@" >out 2>err || code=$?
        df disk | tail -n 1 >disk.txt
        cp disk/out.ts disk/table.csv .
        exit "$code"' sh "$encoder" --preset ultrafast in.ts -o disk/out.ts --csv disk/table.csv || code=$?
    ends_with 3
    tells ": No space left on device" # whichever of the two comes first
    whole out.ts
    whole_rows
else
    printf '(none can be mounted here; the limit and the device above stand for it) '
fi

section "Readers that stall or go away"

begin "the stream's reader stalls and goes on"
mkfifo stream.fifo
start code in.ts -o stream.fifo --csv table.csv
exec 7<stream.fifo
sleep 2
cat <&7 >out.ts
exec 7<&-
finish
ends_with 0
tells_nothing
whole_and_in_table out.ts
[ "$(claimed 1)" -eq "$all" ] || problem "pictures are missing"

begin "the table's reader stalls and goes on"
mkfifo table.fifo
start code in.ts -o out.ts --csv table.fifo
exec 7<table.fifo
sleep 1
cat <&7 >table.csv
exec 7<&-
finish
ends_with 0
tells_nothing
whole_and_in_table out.ts

begin "the stream's reader goes away"
mkfifo stream.fifo
start code in.ts -o stream.fifo --csv table.csv
head -c 400000 <stream.fifo >out.ts
finish
ends_with 3
tells "output 'stream.fifo': Broken pipe"
# The reader left inside a picture; those before are right.
pictures_of out.ts 0
rows_of table.csv 1
[ "$(wc -l <pictures)" -gt 10 ] || problem "the reader got few pictures"
[ "$(comm -23 pictures rows | wc -l)" -le 1 ] || problem "pictures that the table has not"

begin "the table's reader goes away"
mkfifo table.fifo
start code in.ts -o out.ts --csv table.fifo
head -c 3000 <table.fifo >table.csv
finish
ends_with 3
tells "table 'table.fifo': Broken pipe"
whole out.ts

begin "nobody reads the trace"
mkfifo err.fifo
exec 7<>err.fifo
TIMECODE_TRACE_LEVEL=7 run --preset ultrafast in.ts -o out.ts --csv table.csv >out 2>err.fifo
exec 7<&-
ends_with 0
whole_and_in_table out.ts

begin "nobody reads the messages, and the pipe is full"
mkfifo err.fifo
exec 7<>err.fifo
! dd if=/dev/zero of=err.fifo oflag=nonblock bs=4096 count=1000 2>/dev/null || problem "the pipe is not full"
head -c "$inside_packet" in.ts | {
    TIMECODE_TRACE_LEVEL=7 run --preset ultrafast - -o out.ts --csv table.csv >out 2>err.fifo
    echo "$code" >code.txt
}
code=$(cat code.txt)
exec 7<&-
ends_with 2
whole_and_in_table out.ts

begin "whoever read messages and trace goes away"
mkfifo err.fifo
start eval 'TIMECODE_TRACE_LEVEL=7 run --preset ultrafast in.ts -o out.ts --csv table.csv >out 2>err.fifo'
exec 7<err.fifo 7<&-
finish
ends_with 0
whole_and_in_table out.ts

begin "no standard output and no standard error"
run --preset ultrafast in.ts -o out.ts --csv table.csv >&- 2>&-
ends_with 3
pictures_of out.ts 0
in_table

section "Inputs that vanish"

begin "a pipe whose writer ends inside a packet"
head -c "$inside_packet" in.ts | {
    code - -o out.ts --csv table.csv
    echo "$code" >code.txt
}
code=$(cat code.txt)
ends_with 2
tells "input '-' broke off"
whole_and_in_table out.ts
all_read_is_coded

begin "a pipe whose writer is killed"
mkfifo in.fifo
sh -c 'head -c "$1" in.ts; exec sleep 600' sh "$inside_packet" >in.fifo &
helpers=$!
start code in.fifo -o out.ts --csv table.csv
until_true has_rows 10
kill -9 "$helpers"
finish
ends_with 2
tells "input 'in.fifo' broke off"
whole_and_in_table out.ts
all_read_is_coded

begin "a TCP connection that is closed inside a packet"
free_port tcp
start code "tcp://127.0.0.1:$port?listen=1" -o out.ts --csv table.csv
until_true in_use tcp "$port"
# shellcheck disable=SC2016 # expanded by bash, which every Debian has, and which can speak TCP and UDP
bash -c 'head -c "$1" in.ts >"/dev/tcp/127.0.0.1/$2"' bash "$inside_packet" "$port"
finish
ends_with 2
tells "input 'tcp://127.0.0.1:$port?listen=1' broke off"
whole_and_in_table out.ts
all_read_is_coded

begin "a TCP connection that falls silent"
free_port tcp
start code "tcp://127.0.0.1:$port?listen=1&timeout=1000000" -o out.ts --csv table.csv
until_true in_use tcp "$port"
# shellcheck disable=SC2016 # expanded by bash
bash -c 'exec >"/dev/tcp/127.0.0.1/$2"; head -c "$1" in.ts; exec sleep 600' bash "$inside_packet" "$port" &
helpers=$!
finish
ends_with 2
tells "broke off (what was read before is coded)"
whole_and_in_table out.ts
all_read_is_coded

begin "UDP that falls silent"
free_port udp
start code "udp://127.0.0.1:$port?timeout=1000000" -o out.ts --csv table.csv
until_true in_use udp "$port"
# In small lots: a busy receiver loses what comes at once.
# shellcheck disable=SC2016 # expanded by bash
bash -c 'exec <in.ts >"/dev/udp/127.0.0.1/$1"
    for lot in {1..12}; do dd bs=1316 count=50 status=none; sleep 0.05; done' bash "$port"
finish
ends_with 2
tells "input 'udp://127.0.0.1:$port?timeout=1000000' broke off"
whole_and_in_table out.ts

# Its reader holds the run up until the file has become shorter.
begin "a file that becomes shorter while it is read"
mkfifo stream.fifo
cp in.ts shrinking.ts
start code shrinking.ts -o stream.fifo --csv table.csv
exec 7<stream.fifo
head -c 50000 <&7 >out.ts
: >shrinking.ts
cat <&7 >>out.ts
exec 7<&-
finish
ends_with 2
tells "input 'shrinking.ts' broke off (what was read before is coded): the file has become shorter"
whole_and_in_table out.ts

begin "one of two inputs breaks off"
head -c "$inside_packet" in.ts | {
    code in.ts - -o out.ts --csv table.csv
    echo "$code" >code.txt
}
code=$(cat code.txt)
ends_with 2
tells "input '-' broke off"
whole_and_in_table out.ts 1 0
[ "$(claimed 1)" -eq "$all" ] || problem "the other input lacks pictures"
whole_and_in_table out.ts 2 1
all_read_is_coded 2

begin "one of two inputs ends early"
"$encoder" --generate short.ts --duration 1 --rate "$rate" >/dev/null
code in.ts short.ts -o out.ts --csv table.csv
ends_with 0
tells_nothing
whole_and_in_table out.ts 1 0
[ "$(claimed 1)" -eq "$all" ] || problem "the other input lacks pictures"
whole_and_in_table out.ts 2 1
[ "$(claimed 2)" -eq "$rate" ] || problem "the short input lacks pictures"

section "Signals"

for signal in INT TERM; do
    begin "SIG$signal while the input is silent"
    mkfifo in.fifo
    exec 8<>in.fifo
    head -c "$inside_packet" in.ts >&8 &
    helpers=$!
    start code in.fifo -o out.ts --csv table.csv
    until_true has_rows 10
    send "$signal"
    finish
    exec 8<&-
    ends_with 0
    tells_nothing
    whole_and_in_table out.ts
done

begin "SIGTERM while pictures flow, and the writer of the input is left alone"
mkfifo in.fifo
(
    trap - EXIT
    timeout -k 5 "$hang" "$encoder" --generate in.fifo --duration 3600 >/dev/null 2>writer.txt && code=0 || code=$?
    exit "$code"
) &
writer=$!
start code in.fifo -o out.ts --csv table.csv
until_true has_rows 10
send TERM
finish
ends_with 0
tells_nothing
whole_and_in_table out.ts
code=0
wait "$writer" || code=$?
cp writer.txt err
ends_with 3
tells "output 'in.fifo': Broken pipe"

begin "SIGTERM while an input is generated"
start eval 'run --generate out.ts --duration 3600 >out 2>err'
until_true has_bytes out.ts 300000
send TERM
finish
ends_with 0
pictures_of out.ts 0
[ ! -s complaints ] || problem "FFmpeg complains: $(head -n 1 complaints)"
grep -q "stopped after $(wc -l <pictures) pictures" out || problem "other pictures than: $(tail -n 1 out)"

begin "SIGTERM while nobody reads the stream"
mkfifo stream.fifo
start code in.ts -o stream.fifo --csv table.csv
exec 7<stream.fifo
until_true has_rows 1
send TERM
finish
exec 7<&-
ends_with 3
tells "output 'stream.fifo' takes no more data"

begin "SIGINT before the input has come"
mkfifo in.fifo
start code in.fifo -o out.ts
until_true takes_signals
send INT
finish
ends_with 0
tells "stopped before input 'in.fifo' was open"
[ ! -e out.ts ] || problem "an output without an input"

end
echo
if [ "$failed" -gt 0 ]; then
    echo "$failed of $cases cases failed" >&2
    exit 1
fi
echo "All $cases cases hold"
