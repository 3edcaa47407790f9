"""Random models and options, and the times in outputs that they differ in."""

import re

INF = 2147483647
TIMES = re.compile(rb"(\d+\.\d\d/)?\d+\.\d\d\(s\)")
NAMES = [b"x%d", b"x[%d][2]", b"v_%d", b"\x83\x5c%d", b"\xe0,a%d", b"%dth", b"E@%d"]
most = 0  # what an option may set: variables or constraints, where it is more than usual
VALUES = [b"a", b"b", b"0", b"1", b"-1", b"+1", b"007", b"zz", b"\x95#v", b"<", b"inf"]


def number(rng, small=9):
    """A coefficient or bound: mostly small, at times at the ends of int."""
    if rng.random() < 0.93:
        return b"%d" % rng.randint(-small // 3, small)
    return rng.choice([b"0", b"inf", b"-2147483647", b"-2147483648", b"2147483647",
                       b"+1", b"-0", b"1000000000", b"-2000000000"])


class Model:
    """A random model as text, with its names."""

    def __init__(self, rng, variables, domain, constraints):
        self.rng = rng
        naming = rng.choice(NAMES) if rng.random() < 0.3 else NAMES[0]
        self.names = [naming % i for i in range(variables)]
        self.values, self.lines = [], []
        if rng.random() < 0.3:
            self.lines.append(b"target = " + rng.choice([b"0", b"1", b"3", b"-1", b"inf", b"10"]))
        for name in self.names:
            size = rng.randint(1 if rng.random() < 0.1 else min(2, domain), domain)
            values = [b"%d" % a for a in range(size)]
            if rng.random() < 0.2:
                values = rng.sample(VALUES, min(size, 8))
            self.values.append(values)
            self.lines.append(b"variable %s in {%s}" % (name, b", ".join(values)))
        for c in range(constraints):
            self.add(c)

    def label(self, v=None):
        v = self.rng.randrange(len(self.names)) if v is None else v
        return b"(%s,%s)" % (self.names[v], self.rng.choice(self.values[v]))

    def add(self, c, kind=None, weight=None):
        rng = self.rng
        kind = kind if self.names else b"alldiff"
        kind = kind or rng.choice([b"linear", b"linear", b"quadratic", b"alldiff"])
        weight = weight or rng.choice(
            [b"inf", b"inf", b"1", b"2", b"5", b"7", b"100", b"0", b"-3", b"1000000",
             b"2147483646"])
        head = b"c%d: weight = %s type = %s " % (c, weight, kind)
        if kind == b"alldiff":
            names = rng.choices(self.names, k=rng.randint(0, min(len(self.names), 8)))
            self.lines.append(head + b" ".join(names) + b" " + rng.choice([b";", b"."]))
            return
        terms = []
        for _ in range(rng.choice([0, 1, 2, 3, 4, 6, 8, 12])):
            term = number(rng) + self.label()
            if kind == b"quadratic":
                term += term[term.index(b"("):] if rng.random() < 0.1 else self.label()
            terms.append(term)
            if rng.random() < 0.08:
                terms.append(rng.choice(terms))
        relation = rng.choice([b"=", b"<=", b">=", b"> ="])
        self.lines.append(head + b" ".join(terms) + b" %s %s" % (relation, number(rng, 12)))

    def text(self):
        return b"\n".join(self.lines) + self.rng.choice([b"", b"\n", b" # end"])


def size(rng, first, last):
    """How many variables or constraints."""
    return rng.randint(first, max(last, most))


def any_model(rng):
    if rng.random() < 0.02:
        return Model(rng, 0, 1, rng.choice([0, 0, 1]))
    domain = 90 if rng.random() < 0.1 else 6
    return Model(rng, size(rng, 1, 24), rng.randint(1, domain), size(rng, 0, 20))


def tight_model(rng):
    """Many constraints of which no assignment holds all: long searches."""
    model = Model(rng, size(rng, 4, 14), rng.randint(2, 4), size(rng, 6, 14))
    model.lines.append(b"never: weight = 1 type = linear >= 1")
    return model


def dead_end_model(rng):
    """Enough variables for kicks, but few moves that lower a penalty."""
    model = Model(rng, size(rng, 18, 60), 3, 0)
    model.lines.append(b"never: weight = %d type = linear >= 2" % rng.randint(1, 9))
    for c in range(rng.randint(0, 4)):
        model.add(c, b"linear", rng.choice([b"inf", b"4"]))
    return model


def phase_model(rng):
    """So small that no phase improves the incumbent for long."""
    model = Model(rng, rng.randint(2, 3), 2, 0)
    for name, values in zip(model.names, model.values):
        for value in values:
            model.lines.append(b"p: weight = %d type = linear 1(%s,%s) = 1"
                               % (rng.randint(1, 4), name, value))
    for c in range(rng.randint(0, 2)):
        model.add(c, weight=rng.choice([b"inf", b"3"]))
    return model


def overflow_model(rng):
    """Feasible in one assignment, which soft wishes leave at once."""
    model = Model(rng, rng.randint(2, 4), 3, 0)
    first = [b"(%s,%s)" % (n, v[0]) for n, v in zip(model.names, model.values)]
    model.lines.append(b"h: weight = inf type = quadratic 1%s%s >= 1" % tuple(first[:2]))
    for v in range(len(model.names)):
        for value in model.values[v][1:]:
            model.lines.append(b"w: weight = %d type = linear 1(%s,%s) >= 1"
                               % (rng.choice([1, 1, 1, 5]), model.names[v], value))
    for c in range(rng.choice([0, 0, 1, 2])):
        model.add(c, b"linear", rng.choice([b"inf", b"1", b"50"]))
    return model


def spoil(rng, text):
    """One to three edits of bytes or of whole tokens."""
    for _ in range(rng.randint(1, 3)):
        tokens = re.split(rb"(\s+|[(),:={}])", text)
        at = rng.randrange(len(text) + 1)
        kind = rng.randrange(7)
        if kind == 0:
            text = text[:at] + text[at + rng.randint(1, 4):]
        elif kind == 1:
            text = text[:at] + bytes([rng.randrange(256)]) + text[at:]
        elif kind == 2:
            text = text[:at]
        elif kind == 3:
            text = text[:at] + rng.choice(
                [b"#", b"\n\n", b"99999999999", b"-2147483649", b" EOF ", b"+", b"\x81\n",
                 b"variable EOF in {a}\n", b"target = 4\n", b",", b";", b"inf",
                 b"q: weight = 1 type = alldiff "]) + text[at:]
        else:  # one token or line takes the place of another
            parts = text.split(b"\n") if kind == 6 else tokens
            one, two = rng.randrange(len(parts)), rng.randrange(len(parts))
            parts[one] = parts[two]
            text = (b"\n" if kind == 6 else b"").join(parts)
    return text


def options(rng, iterations):
    """Arguments; the iteration limit is always among them and finite."""
    odd = lambda usual, *rare: rng.choice(rare) if rng.random() < 0.1 else usual
    args = [["-iteration", odd(str(iterations), "4294967301", "-3", "7x", "0", "3000000000")]]
    display = rng.choice(["0", "1", "2", "3", "3", "3", "-1", "4", "7"])
    args.append(["-display", odd(display, "-2147483648", "4294967299", "x")])
    if rng.random() < 0.7:
        args.append(["-interval", odd(str(rng.choice([1, 1, 1, 2, 7, 50])), "-1", "0")])
    if rng.random() < 0.8:
        seed = str(rng.randint(1, 10**6))
        args.append(["-seed", odd(seed, "0", "-5", "2147483647", "-2147483647",
                                  "-2147483648", "4294967295", "2147483646")])
    if rng.random() < 0.15:
        args.append(["-noadjust"])
    if rng.random() < 0.15:
        args.append(["-noimprovement", str(rng.choice([0, 1, 10, 40, 200, -3]))])
    if rng.random() < 0.2:
        args.append(["-target", rng.choice(["0", "2", "20", "-1", "-4", "4294967295"])])
    args.append(["-time", odd("1000", "0", "-5", "nan", "1e3", "0x400")])
    if rng.random() < 0.02:
        args.append([rng.choice(["-seed", "-help", "model", "-Seed", ""])])
    rng.shuffle(args)
    return [word for option in args for word in option]
