"""Medians, and the least and most, of the rounds of each case."""
import statistics


class Figure:
    """One quantity of one program over all rounds."""

    def __init__(self, values):
        self.values = values

    @property
    def median(self):
        return statistics.median(self.values)

    @property
    def least(self):
        return min(self.values)

    @property
    def most(self):
        return max(self.values)


class Summary:
    """All runs of a comparison, asked by program, measure, and label of the case."""

    def __init__(self, runs):
        self.runs = runs

    def _runs(self, program, measure, label):
        return [run for run in self.runs
                if (run["program"], run["measure"], run["label"]) == (program, measure, label)]

    def _results(self, program, measure, label):
        return [run["result"] for run in self._runs(program, measure, label)
                if run["result"] is not None]

    def figure(self, program, measure, label, quantity):
        """None when it was not measured."""
        values = [result[quantity] for result in self._results(program, measure, label)
                  if quantity in result]
        return Figure(values) if values else None

    def median(self, program, measure, label, quantity):
        """None when it was not measured, or a run of it lost a line: such speed counts for nothing."""
        if self.lost(program, measure, label):
            return None
        found = self.figure(program, measure, label, quantity)
        return None if found is None else found.median

    def histogram(self, program, measure, label, quantity):
        """The histograms of all rounds, added up: [(ns, count), ...] in order."""
        total = {}
        for result in self._results(program, measure, label):
            for duration, count in result.get(quantity + ".histogram", []):
                total[duration] = total.get(duration, 0) + count
        return sorted(total.items())

    def lost(self, program, measure, label):
        """Whether a run of the case lost a line or failed."""
        return any(run["problem"] for run in self._runs(program, measure, label))
