"""Writes models as text: declarations, constraints and wrapped lines.

For generators of models so large that the Python package takes too long, and
those that give several constraints one name.
"""

HARD = "inf"
LINE_LENGTH = 100


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
