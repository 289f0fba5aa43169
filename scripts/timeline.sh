#!/bin/sh
# Draws a table of stamp-encoder (--csv) as a picture: the source in use, the flags of the status byte, and how far the
# stamped UTC lies from the true one.
# usage: scripts/timeline.sh TABLE.csv PICTURE.png
#
# The true UTC of a picture is that of the first picture of input 1 which has one, plus the PTS distance between the
# two: right for a recording whose clock runs evenly and whose first picture is stamped by its best source.
set -eu
[ $# -eq 2 ] || {
    echo "usage: $0 TABLE.csv PICTURE.png" >&2
    exit 1
}
table=$1
picture=$2
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
# At least a millisecond either way, so that a perfect recording has a range too; and some room at both ends.
range=$(awk 'BEGIN { low = -1; high = 1 }
    $6 != "NaN" { if ($6 < low) low = $6; if ($6 > high) high = $6 }
    END { room = (high - low) / 20; print low - room ":" high + room }' "$points")

gnuplot <<PLOT
set terminal pngcairo size 1100,760 font "sans,11"
set output "$picture"
set multiplot layout 3,1 margins 0.16,0.97,0.08,0.93 spacing 0,0.06
set grid xtics ytics lc rgb "#dddddd"
set key off
set style fill solid
set title "Source in use" offset 0,-0.6
set yrange [-0.5:4.5] reverse
set ytics ("none" 0, "high precision" 1, "VITC" 2, "LDS" 3, "system clock" 4)
plot "$points" using 1:2 with points pt 5 ps 0.5 lc rgb "#1f5fa8"
set title "Flags of the status byte"
set yrange [-0.6:2.6] reverse
set ytics ("not locked" 0, "discontinuity" 1, "reverse" 2)
plot "$points" using 1:(\$3 > 0 ? 0 : NaN) with points pt 5 ps 0.6 lc rgb "#c87f0a", \
     "$points" using 1:(\$4 > 0 ? 1 : NaN) with points pt 5 ps 0.6 lc rgb "#b02418", \
     "$points" using 1:(\$5 > 0 ? 2 : NaN) with points pt 5 ps 0.6 lc rgb "#6a1b9a"
set title "Stamped UTC minus true UTC, milliseconds"
set yrange [$range] noreverse
set ytics auto
set xlabel "seconds of video"
plot "$points" using 1:6 with points pt 7 ps 0.4 lc rgb "#2a7f3f"
PLOT
