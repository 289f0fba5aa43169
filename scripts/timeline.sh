#!/bin/sh
# Draws a table of stamp-encoder (--csv) as a picture: the source in use, the flags of the status byte, and how far the
# stamped UTC lies from the true one. Drop-outs that are named are shaded, and so is the time that was carried in them.
# usage: scripts/timeline.sh TABLE.csv PICTURE.png [SOURCE:FROM-TO ...]
#
# The true UTC of a picture is that of the first picture of input 1 which has one, plus the PTS distance between the
# two: right for a recording whose clock runs evenly and whose first picture is stamped by its best source.
set -eu
[ $# -ge 2 ] || {
    echo "usage: $0 TABLE.csv PICTURE.png [SOURCE:FROM-TO ...]" >&2
    exit 1
}
table=$1
picture=$2
shift 2
[ -r "$table" ] || {
    echo "cannot read $table" >&2
    exit 1
}
points=$(mktemp)
trap 'rm -f "$points"' EXIT

# Columns by name, so that the table may grow. Rows come in coding order; sorting by time makes lines of them.
awk -F, '
    function value(digits,   i, n) {
        n = 0
        for (i = 3; i <= length(digits); i++)
            n = n * 16 + index("0123456789ABCDEF", toupper(substr(digits, i, 1))) - 1
        return n
    }
    NR == 1 { for (i = 1; i <= NF; i++) column[$i] = i; next }
    $column["input"] != 1 { next }
    {
        pts = $column["pts"]
        if (NR == 2) first_pts = pts
        seconds = (pts - first_pts) / 90000
        status = $column["status"] == "" ? -1 : value($column["status"])
        error_ms = "NaN"
        if (match($column["utc"], /T[0-9:.]+/)) {
            split(substr($column["utc"], RSTART + 1, RLENGTH - 1), clock, ":")
            day_seconds = clock[1] * 3600 + clock[2] * 60 + clock[3]
            if (!known) { known = 1; base = day_seconds - seconds }
            off = day_seconds - base - seconds
            off -= 86400 * int(off / 86400 + (off < 0 ? -0.5 : 0.5))
            error_ms = sprintf("%.3f", off * 1000)
        }
        bit7 = status < 0 ? 0 : int(status / 128) % 2
        bit6 = status < 0 ? 0 : int(status / 64) % 2
        bit5 = status < 0 ? 0 : int(status / 32) % 2
        print seconds, $column["source"], bit7, bit6, bit5, error_ms
    }' "$table" | sort -n >"$points"
[ -s "$points" ] || {
    echo "$table holds no picture of input 1" >&2
    exit 1
}
# At least a millisecond either way, so that a perfect recording has a range too; and some room at both ends, above
# for words.
range=$(awk 'BEGIN { low = -1; high = 1 }
    $6 != "NaN" { if ($6 < low) low = $6; if ($6 > high) high = $6 }
    END { room = (high - low) / 20; print low - room ":" high + 8 * room }' "$points")

# Shades where a source was silent, and where a picture got its carried time meanwhile; tells by what it was carried.
shade="behind linewidth 0 fillcolor rgb"
silent=""
carried=""
for drop in "$@"; do
    source=${drop%%:*}
    from=${drop#*:}
    to=${from#*-}
    from=${from%-*}
    silent="$silent
set object rectangle from $from,$source-0.38 to $to,$source+0.38 $shade '#e4e4e4'"
    by="the clock"
    [ "$source" != 2 ] || by="the PTS"
    reach=0 # seconds for which a local set serves pictures behind it (--lds-reach)
    [ "$source" != 3 ] || reach=1
    carried="$carried
$(awk -v source="$source" -v from="$from" -v to="$to" -v by="$by" \
        -v reach="$reach" -v shade="$shade" '
        $2 == source && $1 >= from + reach && $1 < to { if (!seen++) first = $1; last = $1 }
        END {
            if (!seen) exit
            print "set object rectangle from " first ", graph 0 to " last ", graph 1 " shade " \"#fdf0d5\""
            print "set label \"carried\\nby " by "\" at " (first + last) / 2 ", graph 0.90 center front"
        }' "$points")"
done

gnuplot <<PLOT
set terminal pngcairo size 1100,900 font "sans,11"
set output "$picture"
set multiplot
set lmargin at screen 0.14
set rmargin at screen 0.97
set grid xtics ytics lc rgb "#dddddd"
set key off
set style fill solid
set title offset 0,-0.4

set tmargin at screen 0.94
set bmargin at screen 0.70
set title "Source in use (grey: the source is silent)"
set yrange [5.5:0.5]
set ytics ("high precision" 1, "VITC" 2, "LDS" 3, "system clock" 4, "none" 5)
$silent
plot "$points" using 1:(\$2 == 0 ? 5 : \$2) with points pt 5 ps 0.5 lc rgb "#1f5fa8"
unset object

set tmargin at screen 0.60
set bmargin at screen 0.45
set title "Flags of the status byte"
set yrange [2.6:-0.6]
set ytics ("not locked" 0, "discontinuity" 1, "reverse" 2)
plot "$points" using 1:(\$3 > 0 ? 0 : NaN) with points pt 5 ps 0.6 lc rgb "#c87f0a", \
     "$points" using 1:(\$4 > 0 ? 1 : NaN) with points pt 5 ps 0.6 lc rgb "#b02418", \
     "$points" using 1:(\$5 > 0 ? 2 : NaN) with points pt 5 ps 0.6 lc rgb "#6a1b9a"

set tmargin at screen 0.35
set bmargin at screen 0.12
set title "Stamped UTC minus true UTC, milliseconds"
set yrange [$range]
set ytics auto
set xlabel "seconds of video"
$carried
set label "By the clock: the last time, plus what has passed since its time stamp came in.\\nIt is ahead by as long \
as that time stamp had waited for its picture." at screen 0.5,0.035 center font "sans,10"
plot "$points" using 1:6 with points pt 7 ps 0.4 lc rgb "#2a7f3f"
PLOT
