"""Writes models as text: declarations, constraints and wrapped lines.

Every generator builds a Model and prints it. Random numbers come from Draw,
which uses nothing of the random module but random(): that stream is the same
in every version of the language, so a seed always gives the same model.
"""

import random

HARD = "inf"
LINE_LENGTH = 100


class Draw:
    """Random numbers from one seed."""

    def __init__(self, seed):
        self._random = random.Random(seed).random

    def below(self, n):
        """An integer from 0 to n - 1."""
        return int(self._random() * n)

    def between(self, low, high):
        """An integer from low to high, both included."""
        return low + self.below(high - low + 1)

    def shuffled(self, items):
        """The items in random order, as a new list."""
        items = list(items)
        for i in range(len(items) - 1, 0, -1):
            j = self.below(i + 1)
            items[i], items[j] = items[j], items[i]
        return items

    def sample(self, items, count):
        """`count` different items, in random order."""
        return self.shuffled(items)[:count]


def wrapped(head, words):
    """The words behind the head, in indented lines of at most LINE_LENGTH."""
    lines = []
    line = head
    for word in words:
        if len(line) + 1 + len(word) > LINE_LENGTH:
            lines.append(line)
            line = "   "
        line += " " + word
    lines.append(line)
    return lines


class Model:
    """The lines of one model, in the order in which they are added."""

    def __init__(self, comment):
        self.lines = []
        self.comment(comment)

    def comment(self, text):
        """Adds comment lines; blank lines of the text separate paragraphs."""
        for line in text.strip().split("\n"):
            self.lines.append(("# " + line).rstrip())

    def section(self, text):
        """An empty line, then the comment."""
        self.lines.append("")
        self.comment(text)

    def target(self, penalty):
        self.lines.append("target = %d" % penalty)

    def variable(self, name, values):
        listed = ["%s," % value for value in values[:-1]] + [str(values[-1])]
        lines = wrapped("variable %s in {" % name, listed)
        lines[0] = lines[0].replace("{ ", "{", 1)
        lines[-1] += "}"
        self.lines += lines

    def linear(self, name, weight, terms, relation, bound):
        """Terms are (coefficient, variable, value)."""
        words = ["%d(%s,%s)" % term for term in terms]
        self._constraint(name, weight, "linear",
                         words + ["%s %d" % (relation, bound)])

    def quadratic(self, name, weight, terms, relation, bound):
        """Terms are (coefficient, variable, value, variable, value)."""
        words = ["%d(%s,%s)(%s,%s)" % term for term in terms]
        self._constraint(name, weight, "quadratic",
                         words + ["%s %d" % (relation, bound)])

    def all_different(self, name, weight, variables):
        self._constraint(name, weight, "alldiff", list(variables) + [";"])

    def _constraint(self, name, weight, kind, words):
        head = "%s: weight = %s type = %s" % (name, weight, kind)
        self.lines += wrapped(head, words)

    def text(self):
        return "\n".join(self.lines) + "\n"
