"""Models as text, the words of names, and errors with their line."""

import datetime
import enum
import warnings
from dataclasses import dataclass

import pytest

from wcsp import (
    Model,
    ModelError,
    ModelWarning,
    all_different,
    at_least,
    exactly,
    implies,
    table,
    total,
)


class Shift(enum.Enum):
    EARLY = 6
    LATE = 14


@dataclass(frozen=True)
class Room:
    name: str
    seats: int


def two():
    m = Model()
    return m, m.variable("x", "abc"), m.variable("y", "abc")


def added(add):
    """The constraints' lines of a model of x and y after add(m, x, y)."""
    m, x, y = two()
    add(m, x, y)
    return m.text().splitlines()[2:]


HARD = "weight = inf type ="


@pytest.mark.parametrize(
    "make, line",
    [
        (
            lambda x, y: (x == "a") + 2 * (y == "b") <= 2,
            "linear 1(x,a) 2(y,b) <= 2",
        ),
        (
            lambda x, y: (x == "a") + (y == "b") < 2,
            "linear 1(x,a) 1(y,b) <= 1",
        ),
        (
            lambda x, y: 3 > (x == "a") * 4 + (y == "b"),
            "linear 4(x,a) 1(y,b) <= 2",
        ),
        (
            lambda x, y: 0 < (x == "a") + (y == "b"),
            "linear 1(x,a) 1(y,b) >= 1",
        ),
        (
            lambda x, y: (x != "a") + (y == "b") >= 1,
            "linear -1(x,a) 1(y,b) >= 0",
        ),
        (
            lambda x, y: 5 - (x == "a") == 4 + (y == "b"),
            "linear -1(x,a) -1(y,b) = -1",
        ),
        (
            lambda x, y: (x == "a") + (x == "a") - (y == "b") <= 1,
            "linear 2(x,a) -1(y,b) <= 1",
        ),
        (
            lambda x, y: (x == "a") + (y == "a") - (x == "a") <= 0,
            "linear 1(y,a) <= 0",
        ),
        (lambda x, y: x.isin("acc"), "linear 1(x,a) 1(x,c) = 1"),
        (
            lambda x, y: x.where(lambda v: v > "a") <= 0,
            "linear 1(x,b) 1(x,c) <= 0",
        ),
        (
            lambda x, y: (x == "a") * (y == "b") <= 0,
            "quadratic 1(x,a)(y,b) <= 0",
        ),
        (
            lambda x, y: x.isin("ab") * (2 * (y == "b") + 1) <= 1,
            "quadratic 2(x,a)(y,b) 2(x,b)(y,b) 1(x,a)(x,a) 1(x,b)(x,b) <= 1",
        ),
        (
            lambda x, y: (x == "a") * (y == "b") + (y == "b") * (x == "a")
            <= 1,
            "quadratic 2(x,a)(y,b) <= 1",
        ),
        (lambda x, y: (x == "a") * x.isin("ab") <= 0, "linear 1(x,a) <= 0"),
        (
            lambda x, y: x == y,
            "quadratic 1(x,a)(y,a) 1(x,b)(y,b) 1(x,c)(y,c) = 1",
        ),
        (
            lambda x, y: x != y,
            "quadratic -1(x,a)(y,a) -1(x,b)(y,b) -1(x,c)(y,c) = 0",
        ),
        (
            lambda x, y: sum([x == "a", y == "a", 1]) <= 2,
            "linear 1(x,a) 1(y,a) <= 1",
        ),
        (
            lambda x, y: implies(x == "a", y.isin("ab")),
            "linear 1(x,a) -1(y,a) -1(y,b) <= 0",
        ),
        (
            lambda x, y: exactly(1, [x == "a", y == "b"]),
            "linear 1(x,a) 1(y,b) = 1",
        ),
        (
            lambda x, y: at_least(1, (v == "a" for v in (x, y))),
            "linear 1(x,a) 1(y,a) >= 1",
        ),
        (
            lambda x, y: table([x, y], {("a", "b"): 3, ("c", "c"): 1}) <= 2,
            "quadratic 3(x,a)(y,b) 1(x,c)(y,c) <= 2",
        ),
        (lambda x, y: all_different([x, y]), "alldiff x y ;"),
    ],
)
def test_expression_becomes_text(make, line):
    lines = added(lambda m, x, y: m.add(make(x, y), name="n"))
    assert lines == [f"n: {HARD} {line}"]


def test_range_is_two_constraints():
    lines = added(
        lambda m, x, y: m.add(
            ((x == "a") + (y == "a") + (y == "b")).between(1, 1),
            weight=3,
            name=("n", 1),
        )
    )
    assert lines == [
        "n_1: weight = 3 type = linear 1(x,a) 1(y,a) 1(y,b) >= 1",
        "n_1_2: weight = 3 type = linear 1(x,a) 1(y,a) 1(y,b) <= 1",
    ]


def test_minimize_splits_by_variable_and_pair():
    def add(m, x, y):
        m.minimize(
            total(
                [
                    5,
                    3 * (x == "a"),
                    (x == "b"),
                    2 * (x == "c"),
                    (x == "a") * (y == "b") * 4,
                    -1 * (y == "b") * (x == "c"),
                ]
            )
        )

    assert added(add) == [
        "cost_x_y: weight = 1 type = quadratic 4(x,a)(y,b) -1(x,c)(y,b) <= -1",
        "cost_x: weight = 1 type = linear 3(x,a) 1(x,b) 2(x,c) <= 1",
    ]


def test_maximize_and_bound():
    def add(m, x, y):
        m.maximize(3 * (x == "a") + (y == "b") - 1, weight=2, bound=3)
        m.maximize((y == "c"), name="more")

    assert added(add) == [
        "gain: weight = 2 type = linear 3(x,a) 1(y,b) >= 4",
        "more_y: weight = 1 type = linear 1(y,c) >= 1",
    ]


@pytest.mark.parametrize(
    "name, word",
    [
        ("x", "x"),
        ("x[1][2]", "x[1][2]"),
        ("inf", "inf_2"),
        ("weight", "weight_2"),
        (("Zoë Müller", 3), "Zoe_Muller_3"),
        (3, "n3"),
        ((3, -4), "n3_4"),
        ("", "empty"),
        ("佐藤", "u4f50_u85e4"),
        ("a\nb: #{}", "a_b"),
        (datetime.date(2026, 3, 1), "n2026_03_01"),
        (Shift.LATE, "LATE"),
        (Room("lab", 30), "Room_name_lab_seats_30"),
        (None, "None"),
        (2.5, "n2_5"),
    ],
)
def test_word_of_a_name(name, word):
    m = Model()
    m.variable(name, ["v", "w"])
    assert m.text() == f"variable {word} in {{v, w}}\n"


def test_words_of_values_and_equal_words():
    m = Model()
    m.variable("a b", [1, "1", -1, "minus 1", "007", "x y", "x_y", "x-y", 2.0])
    m.variable("a_b", [True, None, Shift.EARLY, ("a", 1), "inf", "2nd"])
    assert m.text() == (
        "variable a_b in {1, n1, -1, minus_1, n007, x_y, x_y_2, x_y_3, n2_0}\n"
        "variable a_b_2 in {True, None, EARLY, a_1, inf_2, n2nd}\n"
    )


def different(domains):
    m = Model()
    variables = [m.variable(f"x{i}", d) for i, d in enumerate(domains)]
    m.add(all_different(variables), weight=4, name="d")
    return m.text().splitlines()[len(domains) :]


def test_all_different_compares_values_not_their_places():
    assert different(["abc", "ab", "abc"]) == [
        "d: weight = 4 type = alldiff x0 x1 x2 ;"
    ]
    assert different(["abc", "ca", "d"]) == [
        "d_a: weight = 4 type = linear 1(x0,a) 1(x1,a) <= 1",
        "d_c: weight = 4 type = linear 1(x0,c) 1(x1,c) <= 1",
    ]


def add_to_another(m, x, y):
    Model().add((x == "a") + (y == "a") <= 1)


ERRORS = [
    (lambda m, x, y: x == "d", "'x' has no value 'd'; it has 'a', 'b', 'c'"),
    (lambda m, x, y: x == ["d"], "has no value"),
    (lambda m, x, y: m.variable("z", []), "has no values"),
    (lambda m, x, y: m.variable("z", [1, 2, True]), "has True twice"),
    (lambda m, x, y: m.variable("x", "ab"), "'x' already exists"),
    (lambda m, x, y: m.variable("z", [[]]), "unhashable"),
    (lambda m, x, y: bool(x == "a"), "not a truth value"),
    (lambda m, x, y: x in [y, x], "not a truth value"),
    (lambda m, x, y: 1 <= (x == "a") + (y == "a") <= 2, "between"),
    (lambda m, x, y: (x == "a") <= 0.5, "an integer, not 0.5; scale"),
    (lambda m, x, y: (x == "a") * 1.5, "an integer, not 1.5"),
    (lambda m, x, y: (x == "a") + x, "cannot be used in sums or ordered"),
    (lambda m, x, y: x < "b", "cannot be used in sums or ordered"),
    (lambda m, x, y: (x == "a") * (y == "a") * (x == "b"), "three labels"),
    (lambda m, x, y: (x == "a") + (y == "b") != 1, "is not supported for sums"),
    (lambda m, x, y: m.add((x == "a") + (y == "a") >= 3), "is 0 to 2, not >="),
    (lambda m, x, y: m.add(x.isin("abc") <= 0), "is 1 to 1, not <= 0"),
    (lambda m, x, y: m.add((x != "a") + (y != "a") >= 3),
     "2 - (x = 'a') - (y = 'a') is 0 to 2, not >= 3"),
    (lambda m, x, y: m.add((x == "a") + (y == "a")), "is a sum"),
    (lambda m, x, y: m.add(sum([]) > 3), "can never hold"),
    (lambda m, x, y: m.add("x"), "'x' is not a constraint"),
    (lambda m, x, y: m.add(x == "a", weight=-1), "not above 0"),
    (lambda m, x, y: m.add(x == "a", weight="much"), "is not a number"),
    (
        lambda m, x, y: m.add(2**30 * ((x == "a") + (y == "a")) <= 5),
        "32 bits",
    ),
    (lambda m, x, y: 2**70 * (x == "a") <= 5, "64 bits"),
    (lambda m, x, y: total([2**62 * (x == "a")]) * 4, "too large"),
    (add_to_another, "another model"),
    (lambda m, x, y: (two()[1] == "a") + (x == "a"), "two different models"),
    (
        lambda m, x, y: implies((x == "a") + (y == "b"), y == "a"),
        "not the sum",
    ),
    (lambda m, x, y: table([x, y, x], {}), "one or two variables"),
    (lambda m, x, y: all_different([]), "no variables"),
    (
        lambda m, x, y: m.add(
            all_different([x, y, m.variable("z", "a"), m.variable("t", "a")])
        ),
        "share 3 values",
    ),
    (lambda m, x, y: (m.minimize(x == "a"), m.maximize(y == "a")), "both minimize and maximize"),
    (lambda m, x, y: (x == "a").between(1, 0), "empty"),
]


@pytest.mark.parametrize("statement, message", ERRORS)
def test_error_has_its_line(statement, message):
    line = statement.__code__.co_firstlineno
    with pytest.raises(ModelError) as raised:
        statement(*two())
    text = str(raised.value)
    assert message in text
    shown = int(text.rsplit("line ", 1)[1].rstrip(")"))
    assert "modelling_test.py" in text and line <= shown <= line + 1


@pytest.mark.parametrize(
    "add, message",
    [
        (lambda m, x, y: m.add((x == "a") + (y == "a") <= 2), "always holds"),
        (lambda m, x, y: m.add((x == "a") >= 2, weight=1), "never hold"),
        (lambda m, x, y: m.add(sum([]) <= 3), "always holds"),
        (lambda m, x, y: m.add(x == "a", weight=0), "has weight 0 and is left out"),
        (lambda m, x, y: m.minimize((x == "a"), weight=0.0), "has weight 0"),
    ],
)
def test_what_is_rarely_meant_is_a_warning_at_its_line(add, message):
    m, x, y = two()
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        add(m, x, y)
        assert not caught
        m.text()
        m.text()
    assert [w.category for w in caught] == [ModelWarning]
    assert message in str(caught[0].message)
    assert caught[0].filename == __file__


def test_a_line_is_a_warning_once_with_its_number(tmp_path):
    m = Model()
    days = [m.variable(d, ["on", "off"]) for d in range(110)]
    for d in range(110):
        window = days[d : d + 3]
        m.add(total(x == "on" for x in window) <= 2, name=("rest", d))
    m.add(total(x == "on" for x in days) >= 0)
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        m.write(tmp_path / "m.model")
    assert len({w.lineno for w in caught}) == len(caught) == 2
    text = str(caught[0].message)
    assert "constraint ('rest', 108) always holds: (108 = 'on')" in text
    assert text.endswith("(and 1 more of this line)")


def test_decimal_weights_are_scaled_by_one_factor():
    lines = added(
        lambda m, x, y: [
            m.add(x == v, weight=w, name=v)
            for v, w in (("a", 0.25), ("b", 3), ("c", 0.1))
        ]
    )
    assert [line.split()[3] for line in lines] == ["5", "60", "2"]


def test_rounded_weights_are_reported(tmp_path):
    m, x, _ = two()
    m.add(x == "a", weight=100000)
    m.add(x == "b", weight=0.123456)
    with pytest.warns(ModelWarning, match=r"changes them by at most 19\.0%"):
        m.write(tmp_path / "m.model")


def test_long_constraints_are_wrapped_between_terms():
    m = Model()
    x = [m.variable(("long name", i), "ab") for i in range(20)]
    m.add(total(v == "a" for v in x) <= 3, name="n")
    lines = m.text().splitlines()[20:]
    assert len(lines) > 2 and max(map(len, lines)) <= 100
    assert (
        " ".join(" ".join(lines).split())
        == f"n: {HARD} linear "
        + " ".join(f"1(long_name_{i},a)" for i in range(20))
        + " <= 3"
    )


def test_a_failed_write_leaves_the_old_file(tmp_path):
    path = tmp_path / "m.model"
    path.write_text("old")
    m, _, _ = two()
    m.add(m["x"] == "a", name="fails later")
    m.names[0] = object
    m.bounds.pop()
    with pytest.raises(IndexError):
        m.write(path)
    assert path.read_text() == "old" and len(list(tmp_path.iterdir())) == 1
