"""The script surface of libcore: value types, maths, the path database, the factory,
logging into Python's logging, and the XML parser."""
import io
import logging
import math
import os
import sys
import threading

import pytest

import libcore
from libcore import Colour, Factory, IntVector, Log, Matrix, PathDatabase, Vector, XMLParser

PI = 3.1415927410125732  # pi in single precision, the bound of normalise_angle
HALF_PI = math.pi / 2


def approx_vector(x, y, tol=1e-6):
    return pytest.approx((x, y), abs=tol)


# ---------------------------------------------------------------------------
# Vector and IntVector


class TestVector:
    def test_defaults_to_zero(self):
        v = Vector()
        assert (v.x, v.y) == (0.0, 0.0)
        assert isinstance(v.x, float)

    def test_positional_and_keyword_arguments(self):
        assert tuple(Vector(1.5, -2)) == (1.5, -2.0)
        assert tuple(Vector(3)) == (3.0, 0.0)
        assert tuple(Vector(y=2)) == (0.0, 2.0)
        assert tuple(Vector(x=1, y=2)) == (1.0, 2.0)
        assert tuple(Vector(y=4, x=3)) == (3.0, 4.0)

    def test_components_are_read_write(self):
        v = Vector(1, 2)
        v.x = 5.5
        v.y = -1
        assert (v.x, v.y) == (5.5, -1.0)

    def test_addition_and_subtraction(self):
        assert Vector(1, 2) + Vector(3, 5) == Vector(4, 7)
        assert Vector(1, 2) - Vector(3, 5) == Vector(-2, -3)
        assert -Vector(1, -2) == Vector(-1, 2)

    def test_operators_return_new_vectors(self):
        a = Vector(1, 2)
        b = a + Vector(1, 1)
        assert a == Vector(1, 2)
        assert b is not a

    def test_multiplication_and_division_by_number(self):
        assert Vector(1, -2) * 3 == Vector(3, -6)
        assert Vector(1, -2) * 0.5 == Vector(0.5, -1)
        assert 3 * Vector(1, -2) == Vector(3, -6)
        assert 0.5 * Vector(1, -2) == Vector(0.5, -1)
        assert Vector(3, -6) / 3 == Vector(1, -2)
        assert Vector(1, 1) / 0.5 == Vector(2, 2)

    def test_division_by_zero_raises(self):
        with pytest.raises(ZeroDivisionError):
            Vector(1, 2) / 0
        with pytest.raises(ZeroDivisionError):
            Vector(1, 2) / 0.0
        with pytest.raises(ZeroDivisionError):
            IntVector(1, 2) / 0

    def test_equality(self):
        assert Vector(1, 2) == Vector(1, 2)
        assert not Vector(1, 2) == Vector(1, 3)
        assert Vector(1, 2) != Vector(2, 1)
        assert not Vector(1, 2) != Vector(1, 2)
        assert Vector(1, 2) != "Vector(1, 2)"
        assert Vector(1, 2) != None  # noqa: E711

    def test_length(self):
        assert Vector(3, 4).length() == pytest.approx(5.0)
        assert Vector().length() == 0.0

    def test_normalised(self):
        n = Vector(3, 4).normalised()
        assert tuple(n) == approx_vector(0.6, 0.8)
        assert n.length() == pytest.approx(1.0)

    def test_normalised_zero_vector_stays_zero(self):
        assert Vector().normalised() == Vector(0, 0)

    def test_rotate_quarter_turn_maps_x_axis_to_negative_y(self):
        assert tuple(Vector(1, 0).rotate(HALF_PI)) == approx_vector(0, -1)
        assert tuple(Vector(0, 1).rotate(HALF_PI)) == approx_vector(1, 0)

    def test_rotate_formula(self):
        a = 0.7
        r = Vector(2, -3).rotate(angle=a)
        expected = (2 * math.cos(a) - 3 * math.sin(a), -2 * math.sin(a) - 3 * math.cos(a))
        assert tuple(r) == pytest.approx(expected, abs=1e-5)

    def test_iteration_and_unpacking(self):
        x, y = Vector(1.5, -2)
        assert (x, y) == (1.5, -2.0)
        assert list(Vector(3, 4)) == [3.0, 4.0]
        assert len(Vector()) == 2
        assert Vector(3, 4)[0] == 3.0
        assert Vector(3, 4)[1] == 4.0
        assert Vector(3, 4)[-1] == 4.0
        with pytest.raises(IndexError):
            Vector(3, 4)[2]

    def test_repr(self):
        assert repr(Vector(1.5, -2)) == "Vector(1.5, -2)"
        assert repr(Vector()) == "Vector(0, 0)"
        assert repr(Vector(0.1, 10)) == "Vector(0.1, 10)"

    def test_sequences_accepted_where_vector_expected(self):
        assert Vector(1, 2) + (1, 1) == Vector(2, 3)
        assert Vector(1, 2) + [1, 1] == Vector(2, 3)
        assert Vector(1, 2) - (1, 1.5) == Vector(0, 0.5)
        assert Vector(1, 2) == (1, 2)
        assert Vector(1, 2) == [1.0, 2.0]
        assert Vector(1, 2) != (1, 3)

    def test_unfit_sequences_are_not_vectors(self):
        for bad in [(1,), (1, 2, 3), ("a", "b"), "ab", [1, None]]:
            with pytest.raises(TypeError):
                Vector(1, 2) + bad

    def test_is_not_hashable(self):
        # Mutable value type: equality by value, so no hash.
        with pytest.raises(TypeError):
            hash(Vector(1, 2))

    def test_wrong_argument_types_raise_type_error(self):
        with pytest.raises(TypeError):
            Vector("1", "2")
        with pytest.raises(TypeError):
            Vector(None)
        with pytest.raises(TypeError):
            Vector(1, 2, 3)
        with pytest.raises(TypeError):
            Vector(z=1)
        with pytest.raises(TypeError):
            Vector((1, 2))
        v = Vector()
        with pytest.raises(TypeError):
            v.x = "a"
        with pytest.raises(TypeError):
            v.y = None
        with pytest.raises(TypeError):
            Vector(1, 2) * "a"
        with pytest.raises(TypeError):
            Vector(1, 2) * Vector(1, 2)
        with pytest.raises(TypeError):
            Vector(1, 2) / "a"
        with pytest.raises(TypeError):
            Vector(1, 2) + 1
        with pytest.raises(TypeError):
            Vector(1, 2) + None
        with pytest.raises(TypeError):
            Vector(1, 0).rotate("a")
        with pytest.raises(TypeError):
            Vector(1, 2)["x"]


class TestIntVector:
    def test_defaults_and_keywords(self):
        assert tuple(IntVector()) == (0, 0)
        assert tuple(IntVector(3, 4)) == (3, 4)
        assert tuple(IntVector(y=7)) == (0, 7)
        assert tuple(IntVector(x=640, y=480)) == (640, 480)
        assert isinstance(IntVector(3, 4).x, int)

    def test_components_are_read_write(self):
        v = IntVector()
        v.x = 10
        v.y = -3
        assert (v.x, v.y) == (10, -3)

    def test_operators(self):
        assert IntVector(1, 2) + IntVector(3, 4) == IntVector(4, 6)
        assert IntVector(1, 2) - IntVector(3, 4) == IntVector(-2, -2)
        assert -IntVector(1, -2) == IntVector(-1, 2)
        assert IntVector(1, 2) * 3 == IntVector(3, 6)
        assert 3 * IntVector(1, 2) == IntVector(3, 6)
        assert IntVector(6, 8) / 2 == IntVector(3, 4)
        assert IntVector(1, 2) != IntVector(2, 1)

    def test_length_and_normalised(self):
        assert IntVector(3, 4).length() == pytest.approx(5.0)
        assert IntVector(0, 7).normalised() == IntVector(0, 1)
        assert IntVector().normalised() == IntVector(0, 0)

    def test_iteration_and_repr(self):
        x, y = IntVector(3, 4)
        assert (x, y) == (3, 4)
        assert repr(IntVector(3, 4)) == "IntVector(3, 4)"
        assert repr(IntVector(-1, 0)) == "IntVector(-1, 0)"

    def test_sequences_accepted_where_int_vector_expected(self):
        assert IntVector(1, 2) + (1, 1) == IntVector(2, 3)
        assert IntVector(1, 2) == [1, 2]

    def test_floats_are_not_integers(self):
        with pytest.raises(TypeError):
            IntVector(1.5, 2)
        with pytest.raises(TypeError):
            IntVector("1", 2)
        with pytest.raises(TypeError):
            IntVector(1, 2) + (1.5, 1)
        with pytest.raises(TypeError):
            IntVector(1, 2) * 2.5
        with pytest.raises(TypeError):
            IntVector(1, 2) / 2.0
        v = IntVector()
        with pytest.raises(TypeError):
            v.x = 1.5


# ---------------------------------------------------------------------------
# Colour


class TestColour:
    def test_default_is_opaque_white(self):
        c = Colour()
        assert (c.r, c.g, c.b, c.a) == (1.0, 1.0, 1.0, 1.0)

    def test_arguments_and_keywords(self):
        assert tuple(Colour(0.5, 0.25, 0)) == (0.5, 0.25, 0.0, 1.0)
        assert tuple(Colour(0.5, 0.25, 0, 0.5)) == (0.5, 0.25, 0.0, 0.5)
        assert tuple(Colour(a=0.5)) == (1.0, 1.0, 1.0, 0.5)
        assert tuple(Colour(g=0, b=0)) == (1.0, 0.0, 0.0, 1.0)

    def test_channels_are_read_write(self):
        c = Colour()
        c.r, c.g, c.b, c.a = 0.5, 0.25, 0.125, 0.0
        assert tuple(c) == (0.5, 0.25, 0.125, 0.0)

    def test_multiplication_by_number(self):
        assert Colour(1, 0.5, 0.25, 1) * 0.5 == Colour(0.5, 0.25, 0.125, 0.5)
        assert Colour(0.25, 0.25, 0.25, 0.25) * 2 == Colour(0.5, 0.5, 0.5, 0.5)

    def test_addition(self):
        assert Colour(0.5, 0.25, 0, 0.5) + Colour(0.25, 0.25, 1, 0.25) == Colour(0.75, 0.5, 1, 0.75)

    def test_equality(self):
        assert Colour(1, 0, 0) == Colour(1, 0, 0, 1)
        assert Colour(1, 0, 0) != Colour(1, 0, 0, 0.5)
        assert not Colour() != Colour()

    def test_three_and_four_sequences_accepted_where_colour_expected(self):
        assert Colour() == (1, 1, 1)
        assert Colour(1, 0, 0, 0.5) == (1, 0, 0, 0.5)
        assert Colour(1, 0, 0, 0.5) != (1, 0, 0)
        assert Colour(0, 0, 0, 0) + (0.5, 0.25, 0) == Colour(0.5, 0.25, 0, 1)
        assert Colour(0, 0, 0, 0) + [0.5, 0.25, 0, 0.5] == Colour(0.5, 0.25, 0, 0.5)

    def test_unfit_sequences_are_not_colours(self):
        for bad in [(1, 1), (1, 1, 1, 1, 1), ("a", "b", "c")]:
            with pytest.raises(TypeError):
                Colour() + bad
        with pytest.raises(ValueError, match="is not a colour"):
            Colour() + "abc"

    def test_repr_lists_four_channels(self):
        assert repr(Colour(1, 0.5, 0)) == "Colour(1, 0.5, 0, 1)"

    def test_wrong_argument_types_raise_type_error(self):
        with pytest.raises(ValueError, match="is not a colour"):
            Colour("red")
        with pytest.raises(TypeError):
            Colour(None)
        with pytest.raises(TypeError):
            Colour(1, 1, 1, 1, 1)
        c = Colour()
        with pytest.raises(TypeError):
            c.r = "a"
        with pytest.raises(TypeError):
            Colour() * Colour()
        with pytest.raises(TypeError):
            Colour() * "a"
        with pytest.raises(TypeError):
            Colour() + 1


# ---------------------------------------------------------------------------
# Matrix


class TestMatrix:
    def test_default_is_identity(self):
        m = Matrix()
        assert m.is_identity()
        assert tuple(m) == (1.0, 0.0, 0.0, 1.0, 0.0, 0.0)

    def test_translation_and_rotation(self):
        a = 0.6
        m = Matrix(Vector(10, 20), a)
        c, s = math.cos(a), math.sin(a)
        assert tuple(m) == pytest.approx((c, -s, s, c, 10, 20), abs=1e-6)
        assert tuple(Vector(2, -3) * m) == pytest.approx((2 * c - 3 * s + 10, -2 * s - 3 * c + 20), abs=1e-5)
        assert not m.is_identity()

    def test_keyword_arguments_and_sequences(self):
        m = Matrix(translation=(1, 2), rotation=0.5)
        assert m == Matrix((1, 2), 0.5)
        assert m == Matrix([1, 2], 0.5)
        assert m.translation == Vector(1, 2)

    def test_translation_property(self):
        t = Matrix(Vector(3, -4), 1.0).translation
        assert isinstance(t, Vector)
        assert t == Vector(3, -4)

    def test_quarter_turn_matches_vector_rotate(self):
        m = Matrix((0, 0), HALF_PI)
        assert tuple(Vector(1, 0) * m) == approx_vector(0, -1)
        assert tuple(Vector(0.3, 1.7) * Matrix((0, 0), 1.3)) == pytest.approx(tuple(Vector(0.3, 1.7).rotate(1.3)))

    def test_composition_applies_right_operand_first(self):
        rotate = Matrix((0, 0), HALF_PI)
        translate = Matrix((5, 0), 0)
        p = Vector(1, 0)
        assert tuple(p * (translate * rotate)) == approx_vector(5, -1)
        assert tuple(p * (rotate * translate)) == approx_vector(0, -6)

    def test_composition_equals_successive_application(self):
        a = Matrix((3, -4), 0.4)
        b = Matrix((-2, 7), 1.1)
        p = Vector(0.75, -1.25)
        assert tuple(p * (a * b)) == pytest.approx(tuple((p * b) * a), abs=1e-5)

    def test_point_as_sequence(self):
        m = Matrix((1, 1), 0)
        assert (1, 2) * m == Vector(2, 3)
        assert [1, 2] * m == Vector(2, 3)

    def test_rotate_vector_ignores_translation(self):
        m = Matrix((100, 200), HALF_PI)
        assert tuple(m.rotate_vector(Vector(1, 0))) == approx_vector(0, -1)
        assert tuple(m.rotate_vector((1, 0))) == approx_vector(0, -1)
        assert tuple(m.rotate_vector(v=Vector(0, 2))) == approx_vector(2, 0)

    def test_is_identity(self):
        assert Matrix((0, 0), 0).is_identity()
        assert not Matrix((0, 1), 0).is_identity()
        assert not Matrix((0, 0), 0.1).is_identity()

    def test_inverse_undoes_the_transform(self):
        m = Matrix((3, -4), 0.8)
        p = Vector(1.5, 2.5)
        assert tuple((p * m) * m.inverse()) == pytest.approx(tuple(p), abs=1e-5)
        assert tuple(m * m.inverse()) == pytest.approx((1, 0, 0, 1, 0, 0), abs=1e-6)

    def test_indexing_gives_coefficients_in_storage_order(self):
        m = Matrix((5, 6), HALF_PI)
        values = tuple(m)
        assert len(values) == 6
        assert len(m) == 6
        assert [m[i] for i in range(6)] == list(values)
        assert m[-1] == 6.0
        assert m[4] == 5.0
        assert values[:4] == pytest.approx((0, -1, 1, 0), abs=1e-6)

    def test_index_out_of_range(self):
        m = Matrix()
        with pytest.raises(IndexError):
            m[6]
        with pytest.raises(IndexError):
            m[-7]

    def test_equality(self):
        assert Matrix((1, 2), 0.5) == Matrix((1, 2), 0.5)
        assert Matrix((1, 2), 0.5) != Matrix((1, 2), 0.6)
        assert Matrix() != "identity"

    def test_wrong_argument_types_raise_type_error(self):
        with pytest.raises(TypeError):
            Matrix(None, 0)
        with pytest.raises(TypeError):
            Matrix((1, 2), "a")
        with pytest.raises(TypeError):
            Matrix((1, 2, 3), 0)
        with pytest.raises(TypeError):
            Matrix(1, 2, 3, 4, 5, 6)
        with pytest.raises(TypeError):
            Matrix() * 5
        with pytest.raises(TypeError):
            Matrix()["a"]
        with pytest.raises(TypeError):
            Matrix()[1.5]
        with pytest.raises(TypeError):
            Matrix().rotate_vector("ab")
        with pytest.raises(TypeError):
            hash(Matrix())


# ---------------------------------------------------------------------------
# Maths functions


class TestNormaliseAngle:
    def test_in_range_unchanged(self):
        for a in (0.0, 0.5, -0.5, 3.0, -3.0):
            assert libcore.normalise_angle(a) == pytest.approx(a)

    def test_whole_turns_in_single_precision(self):
        # 4.0 - 2pi computed in single precision
        assert libcore.normalise_angle(4.0) == pytest.approx(4.0 - 2 * PI, abs=1e-7)
        assert libcore.normalise_angle(angle=-4.0) == pytest.approx(-4.0 + 2 * PI, abs=1e-7)

    def test_pi_stays_pi_and_minus_pi_becomes_pi(self):
        assert libcore.normalise_angle(PI) == PI
        assert libcore.normalise_angle(-PI) == PI

    def test_result_in_half_open_range(self):
        for i in range(-400, 400):
            a = i * 0.37
            n = libcore.normalise_angle(a)
            assert -PI < n <= PI
            assert math.cos(n) == pytest.approx(math.cos(a), abs=1e-3)
        for a in (1e6, -1e6, 1e20, -1e30):
            assert -PI < libcore.normalise_angle(a) <= PI

    def test_non_finite_gives_nan(self):
        assert math.isnan(libcore.normalise_angle(float("nan")))
        assert math.isnan(libcore.normalise_angle(float("inf")))
        assert math.isnan(libcore.normalise_angle(float("-inf")))

    def test_accepts_integers(self):
        assert libcore.normalise_angle(1) == 1.0

    def test_wrong_argument_type(self):
        with pytest.raises(TypeError):
            libcore.normalise_angle("1")
        with pytest.raises(TypeError):
            libcore.normalise_angle(None)


class TestRandom:
    def test_integer_argument_gives_integer_below_it(self):
        libcore.seed_random(1)
        values = [libcore.random(6) for _ in range(600)]
        assert all(isinstance(v, int) for v in values)
        assert set(values) == set(range(6))

    def test_zero_gives_zero(self):
        assert libcore.random(0) == 0

    def test_float_argument_gives_float_in_half_open_range(self):
        libcore.seed_random(2)
        values = [libcore.random(2.5) for _ in range(2000)]
        assert all(isinstance(v, float) for v in values)
        assert all(0.0 <= v < 2.5 for v in values)
        assert min(values) < 0.1 and max(values) > 2.4

    def test_negative_float_gives_non_positive(self):
        assert all(-2.0 < libcore.random(-2.0) <= 0.0 for _ in range(200))

    def test_seed_random_makes_runs_repeatable(self):
        def run():
            return [(libcore.random(1000), libcore.random(1.0)) for _ in range(20)]

        libcore.seed_random(1234)
        first = run()
        libcore.seed_random(seed=1234)
        assert run() == first
        libcore.seed_random(4321)
        assert run() != first

    def test_out_of_range_count(self):
        with pytest.raises(ValueError):
            libcore.random(-1)
        with pytest.raises(ValueError):
            libcore.random(2**40)

    def test_wrong_argument_types(self):
        with pytest.raises(TypeError):
            libcore.random("5")
        with pytest.raises(TypeError):
            libcore.random(None)
        with pytest.raises(TypeError):
            libcore.seed_random("1")
        with pytest.raises(TypeError):
            libcore.seed_random(1.5)


# ---------------------------------------------------------------------------
# PathDatabase


@pytest.fixture
def clean_roots():
    """No roots during the test; the roots from before are put back afterwards."""
    saved = PathDatabase.roots()
    for root in saved:
        PathDatabase.remove_root(root)
    yield
    for root in PathDatabase.roots():
        PathDatabase.remove_root(root)
    for root in saved:
        PathDatabase.add_root(root)


@pytest.fixture
def two_roots(tmp_path, clean_roots):
    first = tmp_path / "first"
    second = tmp_path / "second"
    (second / "sub").mkdir(parents=True)
    first.mkdir()
    (first / "shared.txt").write_bytes(b"from first")
    (first / "only-first.txt").write_bytes(b"first only")
    (second / "shared.txt").write_bytes(b"from second")
    (second / "sub" / "only-second.txt").write_bytes(b"second only")
    return str(first), str(second)


class TestPathDatabase:
    def test_roots_in_order_added(self, two_roots):
        first, second = two_roots
        PathDatabase.add_root(second)
        PathDatabase.add_root(directory=first)
        assert PathDatabase.roots() == [second, first]

    def test_duplicate_root_not_added_twice(self, two_roots):
        first, second = two_roots
        PathDatabase.add_root(first)
        PathDatabase.add_root(second)
        PathDatabase.add_root(first)
        assert PathDatabase.roots() == [first, second]

    def test_remove_root(self, two_roots):
        first, second = two_roots
        PathDatabase.add_root(first)
        PathDatabase.add_root(second)
        PathDatabase.remove_root(first)
        assert PathDatabase.roots() == [second]
        PathDatabase.remove_root("/not/a/root")
        assert PathDatabase.roots() == [second]
        assert not PathDatabase.exists("only-first.txt")

    def test_relative_path_searched_in_root_order(self, two_roots):
        first, second = two_roots
        PathDatabase.add_root(first)
        PathDatabase.add_root(second)
        assert PathDatabase.read("shared.txt") == b"from first"
        assert PathDatabase.read("sub/only-second.txt") == b"second only"
        assert PathDatabase.exists("only-first.txt")
        assert PathDatabase.resolve("shared.txt") == os.path.join(first, "shared.txt")
        assert PathDatabase.resolve("sub/only-second.txt") == os.path.join(second, "sub", "only-second.txt")
        PathDatabase.remove_root(first)
        assert PathDatabase.read("shared.txt") == b"from second"

    def test_absolute_path_used_as_it_is(self, two_roots):
        first, second = two_roots
        PathDatabase.add_root(first)
        absolute = os.path.join(second, "shared.txt")
        assert PathDatabase.read(absolute) == b"from second"
        assert PathDatabase.resolve(absolute) == absolute
        assert not PathDatabase.exists("/only-first.txt")

    def test_working_directory_searched_after_roots(self, two_roots, tmp_path, monkeypatch):
        first, _ = two_roots
        working = tmp_path / "working"
        working.mkdir()
        (working / "shared.txt").write_bytes(b"from working directory")
        (working / "only-working.txt").write_bytes(b"working only")
        monkeypatch.chdir(working)
        assert PathDatabase.read("shared.txt") == b"from working directory"
        PathDatabase.add_root(first)
        assert PathDatabase.read("shared.txt") == b"from first"
        assert PathDatabase.read("only-working.txt") == b"working only"

    def test_missing_file(self, two_roots):
        PathDatabase.add_root(two_roots[0])
        assert not PathDatabase.exists("missing.txt")
        assert PathDatabase.resolve("missing.txt") == ""
        assert not PathDatabase.exists("")
        with pytest.raises(FileNotFoundError):
            PathDatabase.read("missing.txt")
        with pytest.raises(FileNotFoundError):
            PathDatabase.read("/no/such/file")

    def test_directory_is_not_a_file(self, two_roots):
        PathDatabase.add_root(two_roots[1])
        assert not PathDatabase.exists("sub")
        with pytest.raises(FileNotFoundError):
            PathDatabase.read("sub")

    def test_read_gives_bytes_exactly(self, tmp_path, clean_roots):
        data = bytes(range(256)) * 10
        (tmp_path / "blob.bin").write_bytes(data)
        (tmp_path / "empty.bin").write_bytes(b"")
        PathDatabase.add_root(str(tmp_path))
        content = PathDatabase.read("blob.bin")
        assert isinstance(content, bytes)
        assert content == data
        assert PathDatabase.read("empty.bin") == b""

    def test_is_not_instantiable(self):
        with pytest.raises(Exception):
            PathDatabase()

    def test_wrong_argument_types(self, clean_roots):
        for call in (PathDatabase.add_root, PathDatabase.remove_root, PathDatabase.exists,
                     PathDatabase.read, PathDatabase.resolve):
            with pytest.raises(TypeError):
                call(None)
            with pytest.raises(TypeError):
                call(5)
        assert PathDatabase.roots() == []


# ---------------------------------------------------------------------------
# Factory


class Remembering:
    def __init__(self, *args):
        self.args = args


class RememberingMore(Remembering):
    pass


class TestFactory:
    def test_register_and_get_class(self):
        Factory.register_class("test_core.Lookup", Remembering)
        assert Factory.get_class("test_core.Lookup") is Remembering

    def test_get_unknown_class_gives_none(self):
        assert Factory.get_class("test_core.Unknown") is None

    def test_new_object_with_arguments(self):
        Factory.register_class(name="test_core.Create", cls=Remembering)
        made = Factory.new_object("test_core.Create", 1, "two", (3,))
        assert type(made) is Remembering
        assert made.args == (1, "two", (3,))
        assert Factory.new_object("test_core.Create").args == ()

    def test_replacing_a_registration(self):
        Factory.register_class("test_core.Replace", Remembering)
        Factory.register_class("test_core.Replace", RememberingMore)
        assert Factory.get_class("test_core.Replace") is RememberingMore
        assert type(Factory.new_object("test_core.Replace")) is RememberingMore

    def test_registration_keeps_the_class_alive(self):
        import gc
        import weakref

        cls = type("Temporary", (), {})
        ref = weakref.ref(cls)
        Factory.register_class("test_core.Alive", cls)
        del cls
        gc.collect()
        assert ref() is not None
        assert Factory.get_class("test_core.Alive") is ref()
        Factory.register_class("test_core.Alive", Remembering)  # lets it go
        gc.collect()
        assert ref() is None

    def test_native_classes_can_be_registered(self):
        Factory.register_class("test_core.Vector", Vector)
        assert Factory.new_object("test_core.Vector", 1, 2) == Vector(1, 2)

    def test_keyword_arguments_are_refused(self):
        Factory.register_class("test_core.Keywords", Remembering)
        with pytest.raises(TypeError):
            Factory.new_object("test_core.Keywords", 1, extra=2)
        with pytest.raises(TypeError):
            Factory.new_object(name="test_core.Keywords")

    def test_no_references_leak(self):
        Factory.register_class("test_core.Count", Remembering)
        class_count = sys.getrefcount(Remembering)
        Factory.register_class("test_core.Count", Remembering)
        assert sys.getrefcount(Remembering) == class_count
        argument = object()
        argument_count = sys.getrefcount(argument)
        made = Factory.new_object("test_core.Count", argument)
        assert sys.getrefcount(made) == 2  # `made` and the call's argument
        del made
        assert sys.getrefcount(argument) == argument_count

    def test_unknown_name_raises_key_error(self):
        with pytest.raises(KeyError):
            Factory.new_object("test_core.Nothing")

    def test_constructor_errors_pass_through(self):
        class Failing:
            def __init__(self):
                raise ValueError("cannot build")

        Factory.register_class("test_core.Failing", Failing)
        with pytest.raises(ValueError, match="cannot build"):
            Factory.new_object("test_core.Failing")
        with pytest.raises(TypeError):
            Factory.new_object("test_core.Failing", 1)

    def test_registering_a_non_class_raises_type_error(self):
        for bad in (None, 1, "Remembering", Remembering(), len):
            with pytest.raises(TypeError):
                Factory.register_class("test_core.Bad", bad)
        assert Factory.get_class("test_core.Bad") is None

    def test_wrong_name_types_raise_type_error(self):
        with pytest.raises(TypeError):
            Factory.register_class(5, Remembering)
        with pytest.raises(TypeError):
            Factory.get_class(None)
        with pytest.raises(TypeError):
            Factory.new_object()
        with pytest.raises(TypeError):
            Factory.new_object(5)
        with pytest.raises(TypeError):
            Factory.new_object(None)


# ---------------------------------------------------------------------------
# Log


class TestLog:
    def test_messages_reach_python_logging_under_engine_category(self, caplog):
        caplog.set_level(logging.DEBUG)
        Log.info("graphics", "loaded 3 textures")
        Log.warning("window", "careful")
        Log.error(category="core", message="broken")
        records = [(r.name, r.levelno, r.getMessage()) for r in caplog.records]
        assert records == [
            ("engine.graphics", logging.INFO, "loaded 3 textures"),
            ("engine.window", logging.WARNING, "careful"),
            ("engine.core", logging.ERROR, "broken"),
        ]

    def test_messages_are_taken_literally(self, caplog):
        caplog.set_level(logging.DEBUG)
        Log.info("core", "100% sure %d %s")
        assert caplog.records[-1].getMessage() == "100% sure %d %s"

    def test_logging_configuration_applies(self, caplog):
        caplog.set_level(logging.WARNING, logger="engine.quiet")
        Log.info("quiet", "dropped")
        Log.warning("quiet", "kept")
        assert [r.getMessage() for r in caplog.records if r.name == "engine.quiet"] == ["kept"]

    def test_long_and_non_ascii_messages(self, caplog):
        caplog.set_level(logging.DEBUG)
        text = "é€" + "x" * 5000
        Log.info("core", text)
        assert caplog.records[-1].getMessage() == text

    def test_messages_from_python_threads(self, caplog):
        caplog.set_level(logging.DEBUG)

        def work(n):
            for i in range(20):
                Log.info("threads", f"{n}:{i}")

        threads = [threading.Thread(target=work, args=(n,)) for n in range(4)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        Log.flush()
        messages = [r.getMessage() for r in caplog.records if r.name == "engine.threads"]
        assert sorted(messages) == sorted(f"{n}:{i}" for n in range(4) for i in range(20))

    def test_flush_with_nothing_queued(self, caplog):
        caplog.set_level(logging.DEBUG)
        Log.flush()  # whatever earlier tests queued
        caplog.clear()
        Log.flush()
        assert caplog.records == []
        Log.info("core", "after an empty flush")  # and the log still delivers
        assert [r.getMessage() for r in caplog.records] == ["after an empty flush"]

    # At exit, once logging has gone, the engine still logs (textures released as the
    # modules go, script objects' __del__); what the script's logging would have printed
    # is written to standard error, and nothing else.

    AT_EXIT = """
        import libcore
        class AtExit:
            def __del__(self):  # runs while the interpreter finalizes
                libcore.Log.info("test", "an info line at exit")
                libcore.Log.warning("test", "a warning at exit")
                libcore.Log.error("other", "an error at exit")
        keep = AtExit()
    """

    @pytest.mark.parametrize("setup, printed", [
        ("", ["WARNING:engine.test:a warning at exit", "ERROR:engine.other:an error at exit"]),
        ("logging.basicConfig(level=logging.INFO)",
         ["INFO:engine.test:an info line at exit", "WARNING:engine.test:a warning at exit",
          "ERROR:engine.other:an error at exit"]),
        # Enabled, but no handler: logging's last resort prints warnings and above only.
        ("logging.getLogger('engine.test').setLevel(logging.INFO)",
         ["WARNING:engine.test:a warning at exit", "ERROR:engine.other:an error at exit"]),
        ("logging.basicConfig(level=logging.INFO); logging.getLogger('engine.test').setLevel(logging.ERROR)",
         ["ERROR:engine.other:an error at exit"]),
        ("logging.basicConfig(level=logging.INFO); logging.getLogger('engine').setLevel(logging.CRITICAL)", []),
        # Not passed on to the root's handler: logging's last resort takes warnings.
        ("logging.basicConfig(level=logging.INFO); logging.getLogger('engine.test').propagate = False",
         ["WARNING:engine.test:a warning at exit", "ERROR:engine.other:an error at exit"]),
    ], ids=["default", "info", "no-handler", "category-level", "engine-level", "no-propagation"])
    def test_lines_logged_at_exit_follow_the_scripts_logging_levels(self, setup, printed):
        import subprocess
        import textwrap
        code = "import logging\n" + setup + "\n" + textwrap.dedent(self.AT_EXIT)
        result = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60,
                                env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)))
        assert result.returncode == 0, result.stderr
        assert result.stderr.splitlines() == printed

    def test_a_program_with_textures_prints_nothing_at_exit(self, tmp_path):
        """Every texture is released as the modules go, each with an INFO line that the
        script never asked to see."""
        import subprocess
        import textwrap
        code = textwrap.dedent(f"""
            import libwindow, libgraphics
            window = libwindow.Window(32, 32, "exit")
            window.clear((1, 0, 0))
            window.save_screenshot({str(tmp_path / "red.png")!r})
            textures = [libgraphics.Texture({str(tmp_path / "red.png")!r}, asynchronous=False)]
            libgraphics.sprite_database.add("red", texture={str(tmp_path / "red.png")!r}, dimensions=(8, 8))
            sprites = [libgraphics.Sprite("red")]
            print("drawn")
        """)
        result = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60,
                                env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)))
        assert result.returncode == 0, result.stderr
        assert result.stdout == "drawn\n"
        assert result.stderr == ""
        # The same program asking for INFO lines sees them, during the run and at exit.
        result = subprocess.run([sys.executable, "-c", "import logging; logging.basicConfig(level=logging.INFO)\n" +
                                 code], capture_output=True, text=True, timeout=60,
                                env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)))
        assert result.returncode == 0, result.stderr
        assert f"INFO:engine.graphics:Releasing texture '{tmp_path / 'red.png'}'." in result.stderr.splitlines()

    def test_wrong_argument_types(self):
        with pytest.raises(TypeError):
            Log.info(None, "x")
        with pytest.raises(TypeError):
            Log.warning("core", 5)
        with pytest.raises(TypeError):
            Log.error("core")


# ---------------------------------------------------------------------------
# XMLParser


class Recorder(XMLParser):
    """Records every callback as a tuple."""

    def __init__(self):
        super().__init__()
        self.events = []

    def on_element_start(self, name, attributes):
        self.events.append(("start", name, dict(attributes)))

    def on_element_end(self, name):
        self.events.append(("end", name))

    def on_data(self, text):
        self.events.append(("data", text))


DOCUMENT = '<scene name="main">\n  <layer id="1">text &amp; more</layer>\n</scene>\n'
EVENTS = [
    ("start", "scene", {"name": "main"}),
    ("data", "\n  "),
    ("start", "layer", {"id": "1"}),
    ("data", "text & more"),
    ("end", "layer"),
    ("data", "\n"),
    ("end", "scene"),
]
BROKEN = "<a>\n<b>text</b>\n<c>\n</a>\n"  # the error is on line 4
BROKEN_EVENTS = [("start", "a", {}), ("data", "\n"), ("start", "b", {}), ("data", "text"),
                 ("end", "b"), ("data", "\n"), ("start", "c", {})]


def xml_warnings(caplog):
    return [r for r in caplog.records if r.name == "engine.core" and r.levelno == logging.WARNING]


class TestXMLParser:
    def test_parse_from_a_path(self, tmp_path):
        path = tmp_path / "doc.xml"
        path.write_text(DOCUMENT)
        parser = Recorder()
        assert parser.parse(str(path)) is True
        assert parser.events == EVENTS

    def test_parse_from_a_path_through_the_roots(self, tmp_path, clean_roots):
        (tmp_path / "levels").mkdir()
        (tmp_path / "levels" / "one.xml").write_text(DOCUMENT)
        PathDatabase.add_root(str(tmp_path))
        parser = Recorder()
        assert parser.parse("levels/one.xml")
        assert parser.events == EVENTS

    def test_parse_from_string_io(self):
        parser = Recorder()
        assert parser.parse(io.StringIO(DOCUMENT))
        assert parser.events == EVENTS

    def test_parse_from_bytes_io(self):
        parser = Recorder()
        assert parser.parse(source=io.BytesIO(DOCUMENT.encode()))
        assert parser.events == EVENTS

    def test_parse_from_any_object_with_read(self):
        class Source:
            def read(self):
                return "<only/>"

        parser = Recorder()
        assert parser.parse(Source())
        assert parser.events == [("start", "only", {}), ("end", "only")]

    def test_parse_from_an_open_file(self, tmp_path):
        path = tmp_path / "doc.xml"
        path.write_text(DOCUMENT)
        for mode in ("r", "rb"):
            parser = Recorder()
            with open(path, mode) as f:
                assert parser.parse(f)
            assert parser.events == EVENTS

    def test_attributes_arrive_as_a_dict(self):
        parser = Recorder()
        assert parser.parse(io.StringIO("<s position='10, 20' colour=\"#ff0000\" n='&lt;'/>"))
        assert parser.events[0] == ("start", "s", {"position": "10, 20", "colour": "#ff0000", "n": "<"})

    def test_data_joined_between_tags(self):
        parser = Recorder()
        assert parser.parse(io.StringIO("<a>one<!-- c --> two<![CDATA[ <three> ]]>&#33;</a>"))
        assert parser.events == [("start", "a", {}), ("data", "one two <three> !"), ("end", "a")]

    def test_non_ascii_text(self):
        for source in (io.StringIO("<a t='é'>€</a>"), io.BytesIO("<a t='é'>€</a>".encode())):
            parser = Recorder()
            assert parser.parse(source)
            assert parser.events == [("start", "a", {"t": "é"}), ("data", "€"), ("end", "a")]

    def test_only_the_callbacks_a_subclass_defines_are_called(self):
        class OnlyEnds(XMLParser):
            def __init__(self):
                super().__init__()
                self.ends = []

            def on_element_end(self, name):
                self.ends.append(name)

        parser = OnlyEnds()
        assert parser.parse(io.StringIO("<a><b>x</b><c/></a>"))
        assert parser.ends == ["b", "c", "a"]

    def test_base_class_parses_without_callbacks(self):
        assert XMLParser().parse(io.StringIO(DOCUMENT))

    def test_parsing_leaks_neither_parser_nor_source(self):
        import gc
        import weakref

        parser = Recorder()
        source = io.StringIO(DOCUMENT)
        parser_count = sys.getrefcount(parser)
        source_count = sys.getrefcount(source)
        assert parser.parse(source)
        assert sys.getrefcount(parser) == parser_count
        assert sys.getrefcount(source) == source_count
        ref = weakref.ref(parser)
        del parser
        gc.collect()
        assert ref() is None

    def test_parsers_can_be_reused(self):
        parser = Recorder()
        assert parser.parse(io.StringIO("<a/>"))
        assert parser.parse(io.StringIO("<b/>"))
        assert parser.events == [("start", "a", {}), ("end", "a"), ("start", "b", {}), ("end", "b")]

    @pytest.mark.parametrize("make_source", [
        lambda tmp_path: io.StringIO(BROKEN),
        lambda tmp_path: io.BytesIO(BROKEN.encode()),
        lambda tmp_path: str(tmp_path / "broken.xml"),
    ], ids=["StringIO", "BytesIO", "path"])
    def test_malformed_xml(self, make_source, tmp_path, caplog):
        (tmp_path / "broken.xml").write_text(BROKEN)
        caplog.set_level(logging.DEBUG)
        parser = Recorder()
        assert parser.parse(make_source(tmp_path)) is False
        # The callbacks made before the error stand.
        assert parser.events[:len(BROKEN_EVENTS)] == BROKEN_EVENTS
        warnings = xml_warnings(caplog)
        assert len(warnings) == 1
        assert "line 4" in warnings[0].getMessage()

    def test_malformed_path_names_the_file(self, tmp_path, caplog):
        path = tmp_path / "broken.xml"
        path.write_text(BROKEN)
        caplog.set_level(logging.DEBUG)
        assert Recorder().parse(str(path)) is False
        assert "broken.xml" in xml_warnings(caplog)[0].getMessage()

    def test_empty_document_is_malformed(self, caplog):
        caplog.set_level(logging.DEBUG)
        assert Recorder().parse(io.StringIO("")) is False
        assert len(xml_warnings(caplog)) == 1

    def test_missing_path(self, caplog, clean_roots):
        caplog.set_level(logging.DEBUG)
        parser = Recorder()
        assert parser.parse("no/such/document.xml") is False
        assert parser.events == []
        warnings = xml_warnings(caplog)
        assert len(warnings) == 1
        assert "no/such/document.xml" in warnings[0].getMessage()

    @pytest.mark.parametrize("source", [1, None, 2.5, b"<a/>", ["<a/>"], object()],
                             ids=["int", "None", "float", "bytes", "list", "object"])
    def test_wrong_source_type_raises_type_error(self, source):
        parser = Recorder()
        with pytest.raises(TypeError):
            parser.parse(source)
        assert parser.events == []

    def test_read_giving_neither_str_nor_bytes_raises_type_error(self):
        class NumberSource:
            def read(self):
                return 5

        with pytest.raises(TypeError):
            Recorder().parse(NumberSource())

    def test_error_raised_by_read_passes_through(self):
        class FailingSource:
            def read(self):
                raise OSError("disk on fire")

        with pytest.raises(OSError, match="disk on fire"):
            Recorder().parse(FailingSource())

    def test_missing_source_argument_raises_type_error(self):
        with pytest.raises(TypeError):
            Recorder().parse()

    def test_subclass_without_base_initialisation_raises_type_error(self):
        class Uninitialised(XMLParser):
            def __init__(self):
                pass

        with pytest.raises(TypeError):
            Uninitialised().parse(io.StringIO("<a/>"))

    def test_raising_callback_is_reported_and_parsing_goes_on(self, monkeypatch):
        reported = []
        monkeypatch.setattr(sys, "unraisablehook", lambda info: reported.append(info.exc_type))

        class Failing(Recorder):
            def on_element_start(self, name, attributes):
                super().on_element_start(name, attributes)
                if name == "b":
                    raise RuntimeError("callback failed")

        parser = Failing()
        assert parser.parse(io.StringIO("<a><b/><c/></a>")) is True
        assert reported == [RuntimeError]
        assert parser.events == [("start", "a", {}), ("start", "b", {}), ("end", "b"),
                                 ("start", "c", {}), ("end", "c"), ("end", "a")]
