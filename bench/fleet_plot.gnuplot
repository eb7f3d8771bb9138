# Devices per minute of the report window, from `fleet_schedule --minutes`.
#   gnuplot -e "data='minutes.dat'; out='fleet.png'; mean=2083.3; devices=1000000" \
#     bench/fleet_plot.gnuplot
set terminal png size 900,380 font ",10" noenhanced
set output out
set title sprintf("Report start minute of %d devices, schedule \"~ 9~16 * * 1~5\"", devices)
set xdata time
set timefmt "%H:%M"
set format x "%H:%M"
set xlabel "local time of day"
set ylabel "devices starting in that minute"
set yrange [mean * 0.8:mean * 1.2]
set key top center horizontal
set grid ytics
plot data using 1:2 with steps lc rgb "#4a78b5" title "devices per minute", \
     mean with lines lc rgb "#333333" dt 2 lw 2 title sprintf("mean %.0f", mean), \
     mean * 1.10 with lines lc rgb "#c0392b" lw 2 title "budget 1.10 x mean"
