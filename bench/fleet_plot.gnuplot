# The report's start over a fleet, from `fleet_schedule --minutes ... --seconds ...`: the
# devices per minute of the window, then per second of the minute (the wait), for the
# whole fleet and for its busiest minute.
#   gnuplot -e "minutes='minutes.dat'; seconds='seconds.dat'; out='fleet.png'; \
#     mean=2083.3; busiest=2234; devices=1000000" bench/fleet_plot.gnuplot
# (mean: devices per minute; busiest: devices of the busiest minute)
set terminal png size 900,900 font ",10" noenhanced
set output out
set multiplot layout 3,1 title sprintf("Report start of %d devices, schedule \"~ 9~16 * * 1~5\"", devices)
set key top center horizontal
set grid ytics

set title "minute of the day, drawn by the cron manager"
set xdata time
set timefmt "%H:%M"
set format x "%H:%M"
set xlabel "local time of day"
set ylabel "devices in that minute"
set yrange [mean * 0.8:mean * 1.2]
plot minutes using 1:2 with steps lc rgb "#4a78b5" title "devices per minute", \
     mean with lines lc rgb "#333333" dt 2 lw 2 title sprintf("mean %.0f", mean), \
     mean * 1.10 with lines lc rgb "#c0392b" lw 2 title "budget 1.10 x mean"

set title "second of the minute, waited before the report: the whole fleet"
set xdata
set format x "%g"
set xrange [-0.5:59.5]
set xtics 0,5,55
set xlabel "second of the minute"
set ylabel "devices at that second"
second_mean = devices / 60.0
set yrange [second_mean * 0.8:second_mean * 1.3]
set style fill solid 0.6 noborder
set boxwidth 0.8
plot seconds using 1:2 with boxes lc rgb "#4a78b5" title "devices per second of their minute", \
     second_mean with lines lc rgb "#333333" dt 2 lw 2 title sprintf("mean %.0f", second_mean), \
     second_mean * 1.2 with lines lc rgb "#c0392b" lw 2 title "budget 1.2 x mean"

set title sprintf("the busiest minute, second by second: %.0f devices; without the wait all of them at :00", busiest)
minute_mean = busiest / 60.0
set ylabel "devices at that second"
set yrange [0:minute_mean * 2.4]
plot seconds using 1:3 with boxes lc rgb "#4a78b5" title "devices per second", \
     minute_mean with lines lc rgb "#333333" dt 2 lw 2 title sprintf("mean %.1f", minute_mean)
unset multiplot
