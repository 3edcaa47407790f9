"""What the generators share: random numbers, and the Python package beside them.

Draw uses nothing of the random module but random(): that stream is the same in
every version of the language, so a seed always gives the same model.
"""

import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "python"))


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
