"""What a soak did to the frames, compared with what the programs report: a row for each figure of each phase."""

from dataclasses import dataclass, field


@dataclass
class Row:
    phase: str
    kind: str
    low: int
    high: int
    found: int

    @property
    def kept(self):
        return self.low <= self.found <= self.high

    def __str__(self):
        wanted = f"{self.low:,}" if self.low == self.high else f"{self.low:,} to {self.high:,}"
        return f"{self.phase}: {self.kind}: wanted {wanted}, found {self.found:,}"


@dataclass
class Account:
    rows: list = field(default_factory=list)
    phase: str = ""

    def same(self, kind, wanted, found):
        self.within(kind, wanted, wanted, found)

    def within(self, kind, low, high, found):
        self.rows.append(Row(self.phase, kind, low, high, found))

    def holds(self, what, kept):
        """A promise without a figure."""
        self.within(what, 1, 1, int(bool(kept)))

    def broken(self, phase=None):
        return [row for row in self.rows if not row.kept and phase in (None, row.phase)]

    def by_kind(self):
        """[kind, figures that agree, at least, at most, found], the kinds in the order of their first row."""
        sums = {}
        for row in self.rows:
            one = sums.setdefault(row.kind, [row.kind, 0, 0, 0, 0])
            for place, value in enumerate((1, row.low, row.high, row.found), 1):
                one[place] += value
        return list(sums.values())
