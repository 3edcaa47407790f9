"""Writes the commands that draw the logs for gnuplot."""

import math

from statistics_of import INFINITY, bands, shares, steps_of

from _shared.text import escaped

COLOURS = ["#0072b2", "#d55e00", "#009e73", "#cc79a7", "#b8860b", "#555555"]
MAX_DRAWN = 1500  # points of one line; more are not seen


def quoted(text):
    """A quoted text for gnuplot, which fails on two adjacent quotes in a string."""
    return "'" + escaped(text).replace("'", """'."'".'""") + "'"


def number(value):
    return f"{value:.15g}"


class Axis:
    """A scale for values from 0: linear, or logarithmic if they span two orders of
    magnitude, with a separate position for 0 below the minimum."""

    def __init__(self, values, always_linear=False):
        values = [v for v in values if v is not None and v < INFINITY]
        positive = [v for v in values if v > 0]
        self.most = max(values, default=1)
        self.is_log = (not always_linear and len(positive) > 0
                       and max(positive) >= 100 * min(positive))
        self.zero = 0.0
        self.has_zero = 0 in values
        if self.is_log:
            self.least = 10.0 ** math.floor(math.log10(min(positive)))
            self.zero = self.least / 3

    def at(self, value):
        if value is None or value == INFINITY:
            return "NaN"
        return number(self.zero if self.is_log and value == 0 else value)

    def commands(self, letter):
        if not self.is_log:
            top = self.most * 1.05 if self.most > 0 else 1
            return [f"unset logscale {letter}", f"set {letter}range [0:{number(top)}]",
                    f"set {letter}tics autofreq", f"set format {letter} '%.6g'"]
        low = self.zero / 1.5 if self.has_zero else self.least
        lines = [f"set logscale {letter}",
                 f"set {letter}range [{number(low)}:{number(self.most * 1.3)}]",
                 f"set format {letter} '%.6g'"]
        first, last = round(math.log10(self.least)), math.ceil(math.log10(self.most))
        step = max((last - first) // 6, 1)
        tics = [f"'{10.0 ** k:g}' 1e{k}" for k in range(first, last + 1, step)]
        if self.has_zero:
            tics.insert(0, f"'0' {number(self.zero)}")
        return [*lines, f"set {letter}tics ({', '.join(tics)})"]


class Picture:
    def __init__(self, groups, options):
        """groups: [(name, logs)]; chosen: the options of the tool."""
        self.groups = groups
        self.logs = [log for _, logs in groups for log in logs]
        self.options = options
        self.axis = 1 if options.iterations else 0
        self.blocks = []
        self.lines = []
        ends = [self.end(log) for log in self.logs]
        self.places = Axis([p for log in self.logs for part in (log.improved, log.current.points)
                            for p in (point[self.axis] for point in part)] + ends)

    def end(self, log):
        return log.iterations if self.axis else log.time

    def block(self, rows):
        """A data block of rows of texts; returns its name."""
        name = f"$data{len(self.blocks)}"
        rows = rows[::max(len(rows) // MAX_DRAWN, 1)] + rows[-1:]
        self.blocks.append("\n".join([f"{name} << EOD", *(" ".join(row) for row in rows), "EOD"]))
        return name

    def curve(self, log, penalty, values):
        steps = steps_of(log, self.axis, penalty)
        steps.append((max(self.end(log), steps[-1][0]), steps[-1][1]))
        return self.block([[self.places.at(x), values.at(y)] for x, y in steps])

    def plots_of_one(self, log, penalty, values):
        colour = COLOURS[1 if penalty == "hard" else 0]
        plots = []
        if log.current.points:
            rows = [[self.places.at(p[self.axis]), values.at(p[2 if penalty == "hard" else 3])]
                    for p in log.current.points]
            plots.append(f"{self.block(rows)} with points pt 7 ps 0.2 lc rgb '#b0b0b0' "
                         "title 'current'")
        plots.append(f"{self.curve(log, penalty, values)} with steps lw 2 lc rgb '{colour}' "
                     f"title 'best {penalty}'")
        return plots + self.marks(log)

    def marks(self, log):
        """Ticks at the bottom for the ends of runs, longer ones for the ends of phases,
        and two symbols above them for dead ends and kicks."""
        kinds = [("run ends", log.runs, "pt 2 ps 0.5", 0.03),
                 ("phase ends", log.phases, "pt 9 ps 0.9", 0.03),
                 ("dead ends", log.dead_ends, "pt 6 ps 0.7", 0.07),
                 ("kicks", log.kicks, "pt 5 ps 0.6", 0.11)]
        return [f"{self.block([[self.places.at(p[self.axis]), number(height)] for p in sample.points])}"
                f" axes x1y2 with points {form} lc rgb '#606060' title '{title}'"
                for title, sample, form, height in kinds if sample.points]

    def plots_of_groups(self, penalty, values):
        plots = []
        for i, (name, logs) in enumerate(self.groups):
            colour = COLOURS[i % len(COLOURS)]
            end = max(self.end(log) for log in logs)
            if len(logs) > 2:
                rows = bands([steps_of(log, self.axis, penalty) for log in logs])
                rows.append((max(end, rows[-1][0]), *rows[-1][1:]))
                stairs = [row for a, b in zip(rows, rows[1:]) for row in (a, (b[0], *a[1:]))]
                top = values.most * 2
                band = [[self.places.at(x), values.at(low), values.at(min(high, top))]
                        for x, low, _, high in stairs + rows[-1:] if low < INFINITY]
                if band:
                    plots.append(f"{self.block(band)} using 1:2:3 with filledcurves lc rgb "
                                 f"'{colour}' fs transparent solid 0.2 notitle")
            for log in logs:
                plots.append(f"{self.curve(log, penalty, values)} with steps lw 0.6 lc rgb "
                             f"'{colour}' dt 3 notitle")
            if len(logs) > 1:
                rows = bands([steps_of(log, self.axis, penalty) for log in logs])
                rows.append((max(end, rows[-1][0]), *rows[-1][1:]))
                line = self.block([[self.places.at(x), values.at(m)] for x, _, m, _ in rows])
            else:
                line = self.curve(logs[0], penalty, values)
            title = f"{name}, median of {len(logs)}" if len(logs) > 1 else name
            plots.append(f"{line} with steps lw 2.5 lc rgb '{colour}' title {quoted(title)}")
        return plots

    def panel(self, penalty):
        values = Axis([value for log in self.logs for _, value in
                       steps_of(log, self.axis, penalty)]
                      + [p[2 if penalty == "hard" else 3]
                         for log in self.logs if len(self.logs) == 1 for p in log.current.points])
        plots = (self.plots_of_one(self.logs[0], penalty, values) if len(self.logs) == 1
                 else self.plots_of_groups(penalty, values))
        self.lines += [f"set ylabel '{penalty} penalty'", *values.commands("y"),
                       "set y2range [0:1]", "plot " + ", \\\n  ".join(plots)]

    def run_ends(self):
        """The ends of runs and phases, ordered by iteration."""
        log = self.logs[0]
        return sorted(log.runs.points + log.phases.points, key=lambda end: end[1])

    def length_panel(self):
        """The lengths of the runs."""
        runs = self.run_ends()
        values = Axis([run[2] for run in runs])
        data = self.block([[self.places.at(run[self.axis]), values.at(run[2])] for run in runs])
        self.lines += ["set ylabel 'run length'", *values.commands("y"),
                       f"plot {data} with steps lw 1.5 lc rgb '#606060' "
                       "title 'iterations of a run'"]

    def share_panel(self):
        self.lines += ["unset logscale y", "set yrange [0:105]", "set ytics autofreq",
                       "set format y '%.0f %%'",
                       f"set ylabel 'reached 0/{self.options.target}'"]
        places = Axis([log.reached(self.options.target, self.axis) for log in self.logs]
                      + [self.end(log) for log in self.logs])
        self.lines += places.commands("x")
        plots = []
        for i, (name, logs) in enumerate(self.groups):
            points = shares(logs, self.options.target, self.axis)
            end = max(self.end(log) for log in logs)
            last = points[-1] if points else (0.0, 0.0)
            rows = [(0.0, 0.0), *points, (max(end, last[0]), last[1])]
            data = self.block([[places.at(x), number(100 * y)] for x, y in rows])
            plots.append(f"{data} with steps lw 2 lc rgb '{COLOURS[i % len(COLOURS)]}' "
                         f"title {quoted(name)}")
        self.lines.append("plot " + ", \\\n  ".join(plots))

    def commands(self, terminal, output):
        """All commands. The picture goes to a file, or as text to standard output."""
        is_feasible = any(log.best[0] == 0 for log in self.logs)
        was_hard = any(value > 0 for log in self.logs
                       for _, value in steps_of(log, self.axis, "hard")[1:])
        panels = [kind for kind, there in (("hard", was_hard or not is_feasible),
                                           ("soft", is_feasible)) if there]
        has_lengths = len(self.logs) == 1 and len(self.run_ends()) > 1
        number_of_panels = len(panels) + has_lengths + (self.options.target is not None)
        title = self.options.title or (self.logs[0].name if len(self.logs) == 1 else "")
        self.lines = [
            "set key outside above center horizontal noenhanced",
            "set border 3", "set tics nomirror", "set grid lc rgb '#d8d8d8'",
            *self.places.commands("x"),
            f"set xlabel '{'iteration' if self.axis else 'CPU time (s)'}'",
            f"set multiplot layout {number_of_panels},1"
            + (f" title {quoted(title)} noenhanced" if title else "")]
        for penalty in panels:
            self.panel(penalty)
        if has_lengths:
            self.length_panel()
        if self.options.target is not None:
            self.share_panel()
        begin = [f"set terminal {terminal(number_of_panels)}"]
        if output:
            begin.append(f"set output {quoted(output)}")
        return "\n".join([*begin, *self.blocks, *self.lines, "unset multiplot", "unset output"])
