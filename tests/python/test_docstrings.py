"""Docstrings and type stubs: every public class, method, property and function of the
three modules starts its docstring with a Python signature; help() shows those and
never C++; the signatures' keyword names are the ones the bindings take; and a type
checker reading the generated stubs accepts a correct script and flags a wrong one."""
import ast
import importlib.machinery
import importlib.util
import inspect
import os
import pydoc
import re
import subprocess

import pytest

import libcore
import libgraphics
import libwindow
from builds import HAS_STUBS

needs_stubs = pytest.mark.skipif(not HAS_STUBS, reason="this build makes no type stubs (a sanitizer build)")

MODULES = (libcore, libwindow, libgraphics)
MODULES_BY_NAME = {m.__name__: m for m in MODULES}
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PYTHON_DIR = os.path.dirname(os.path.abspath(libcore.__file__))
HERE = os.path.dirname(os.path.abspath(__file__))


def load_generator():
    """scripts/make-stubs as a module (its file name has no .py)."""
    loader = importlib.machinery.SourceFileLoader("make_stubs", os.path.join(ROOT, "scripts", "make-stubs"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("make_stubs", loader))
    loader.exec_module(module)
    return module


make_stubs = load_generator()


def public_members():
    """(qualified name, kind, docstring, object) of every public member of the modules,
    special methods included."""
    def walk(cls, prefix):
        yield prefix, "class", cls.__doc__, cls
        for name, value in vars(cls).items():
            if name.startswith("_") and not (name.endswith("__") and callable(value)):
                continue
            if name in make_stubs.SKIPPED_MEMBERS:
                continue
            if make_stubs.is_enum(cls) and (isinstance(value, cls) or name in ("names", "values")):
                continue
            where = f"{prefix}.{name}"
            if isinstance(value, type):
                yield from walk(value, where)
            elif isinstance(value, property):
                yield where, "property", value.__doc__, value
            elif isinstance(value, staticmethod):
                yield where, "static method", value.__func__.__doc__, value.__func__
            elif callable(value):
                yield where, "method", make_stubs.unwrap(value).__doc__, value

    for module in MODULES:
        for name, value in vars(module).items():
            if name.startswith("_"):
                continue
            where = f"{module.__name__}.{name}"
            if isinstance(value, type):
                yield from walk(value, where)
            elif callable(value) and not inspect.ismodule(value):
                yield where, "function", value.__doc__, value
            elif make_stubs.is_engine_class(type(value)):
                yield from walk(type(value), f"{module.__name__}.{type(value).__name__}")


MEMBERS = sorted(set((where, kind, doc) for where, kind, doc, _ in public_members()))


def signature_block(doc, name):
    """The first lines of a docstring: its signatures (those of a function's overloads,
    which Boost.Python separates by blank lines, included)."""
    return make_stubs.signature_lines(doc, name)


def test_the_modules_have_many_documented_members():
    assert len(MEMBERS) > 300


@pytest.mark.parametrize("where,kind,doc", MEMBERS, ids=[m[0] for m in MEMBERS])
def test_first_lines_are_python_signatures(where, kind, doc):
    assert doc and doc.strip(), f"{where} has no docstring"
    name = where.rsplit(".", 1)[1]
    lines = signature_block(doc, name)
    if kind == "property":
        assert len(lines) == 1 and lines[0].startswith(name + ": "), lines
        ast.parse(lines[0])  # an annotated name
        return
    for line in lines:
        if kind == "class" and line == name:
            continue  # a class scripts do not construct
        assert re.match(rf"{name}\(", line), f"{where}: {line!r}"
        if kind == "class":
            ast.parse(f"def {line}: ...")
        else:
            assert " -> " in line, f"{where}: {line!r} has no return type"
            ast.parse(f"def {line}: ...")
    # Prose, when there is any, follows one blank line.
    assert "\n\n\n" not in doc.strip("\n")


@pytest.mark.parametrize("cls", [libcore.Vector, libcore.Colour, libcore.Matrix, libwindow.Window,
                                 libwindow.WindowListener, libwindow.key, libgraphics.Sprite, libgraphics.Scene,
                                 libgraphics.Texture, libgraphics.ActorControllerIK, libgraphics.SpriteProxy,
                                 libgraphics.sprite_database, type(libgraphics.texture_database)])
def test_help_shows_no_cxx(cls):
    text = pydoc.render_doc(cls, renderer=pydoc.plaintext)
    assert_no_cxx(text, cls.__name__)
    assert signature_block(cls.__doc__, cls.__name__)[0] in text


def assert_no_cxx(text, where):
    for cxx in ("std::", "engine::", "boost::", "{lvalue}", "C++ signature", "_object*"):
        assert cxx not in text, f"{where}: {cxx}"


@pytest.mark.parametrize("module", MODULES, ids=[m.__name__ for m in MODULES])
def test_help_of_a_whole_module_shows_no_cxx(module):
    assert_no_cxx(pydoc.render_doc(module, renderer=pydoc.plaintext), module.__name__)


def stub_names(tree, module):
    """The qualified names a stub declares: classes, functions and values at the top,
    and the members of each class (the stub's private name of a singleton's class,
    "_texture_loader", stands for the class's own)."""
    names = set()

    def walk(body, prefix):
        for node in body:
            if isinstance(node, ast.ClassDef):
                name = node.name
                if prefix == module.__name__ and not isinstance(getattr(module, name[1:], type), type):
                    name = name[1:]
                names.add(f"{prefix}.{name}")
                walk(node.body, f"{prefix}.{name}")
            elif isinstance(node, ast.FunctionDef):
                names.add(f"{prefix}.{node.name}")
            elif isinstance(node, ast.AnnAssign) and isinstance(node.target, ast.Name):
                names.add(f"{prefix}.{node.target.id}")

    walk(tree.body, module.__name__)
    return names


def named_in(where, declared):
    """Whether a stub declares `where` (module.Class.member) on the class or on one of
    its engine bases, where a subclass's repeated property lives."""
    if where in declared:
        return True
    module, *path, member = where.split(".")
    owner = MODULES_BY_NAME[module]
    for part in path:
        owner = getattr(owner, part)
        owner = owner if isinstance(owner, type) else type(owner)  # a singleton's class
    return any(f"{base.__module__}.{base.__qualname__}.{member}" in declared
               for base in getattr(owner, "__mro__", ())[1:] if base.__module__ in MODULES_BY_NAME)


def test_the_generator_writes_stubs_that_parse_and_name_every_public_member(tmp_path):
    assert make_stubs.main(["make-stubs", str(tmp_path)] + [m.__name__ for m in MODULES]) == 0
    assert (tmp_path / "py.typed").is_file()
    declared = set()
    for module in MODULES:
        declared |= stub_names(ast.parse((tmp_path / f"{module.__name__}.pyi").read_text()), module)
    expected = [f"{m.__name__}.{name}" for m in MODULES for name, value in vars(m).items()
                if not name.startswith("_") and not inspect.ismodule(value)]
    expected += [where for where, kind, _, _ in public_members() if kind != "function"]
    missing = [where for where in expected if not named_in(where, declared)]
    assert missing == []
    assert len(expected) > 300


def test_the_generator_names_an_undocumented_member():
    class Fake:
        __name__ = "libfake"

        class Thing:
            """Thing()"""
            __module__ = "libfake"

            def spin(self):
                """Spins it."""

    writer = make_stubs.StubWriter(Fake)
    writer.name = "libfake"
    with pytest.raises(make_stubs.StubError, match=r"libfake\.Thing\.spin: first line 'Spins it\.'"):
        writer.klass(Fake.Thing)
        if writer.errors:
            raise make_stubs.StubError("\n".join(writer.errors))


def parameter_types(line):
    """{keyword-capable parameter: its annotation} of one signature line."""
    args = ast.parse(f"def {line.split(' -> ')[0]}: ...").body[0].args
    return {a.arg: ast.unparse(a.annotation) for a in args.args + args.kwonlyargs}


def parameter_names(function_doc, name):
    """The keyword-capable parameter names of each overload in a docstring."""
    result = []
    for line in signature_block(function_doc, name):
        args = ast.parse(f"def {line.split(' -> ')[0]}: ...").body[0].args
        result.append([a.arg for a in args.args + args.kwonlyargs])
    return result


def bound_signatures(function, is_method):
    """The signatures of a Boost.Python function (a constructor: its class) as the
    argument error of a call with an unknown keyword lists them,
    "(index: an int) or (id: a str)": for each, its parameters' descriptions, with the
    keyword name of those that have one. The call never reaches the function. A method
    gets a stand-in for self: Boost.Python 1.74 crashes matching keywords to a method
    called without one."""
    with pytest.raises(TypeError) as error:
        function(*([None] if is_method else []), not_a_parameter=0)
    expected = re.match(r"^.*?: expected \((.*)\), got \(.*not_a_parameter=int\)$", str(error.value))
    assert expected, str(error.value)
    return [group for group in expected.group(1).split(") or (")]


def bound_parameter_names(function, is_method):
    """The keyword names of each signature (unnamed parameters have none)."""
    return {tuple(re.findall(r"(?:^|, )(\w+): ", group)) for group in bound_signatures(function, is_method)}


def bound_parameter_types(function, is_method):
    """{keyword name: description} of each signature's named parameters."""
    return [dict(re.findall(r"(?:^|, )(\w+): (.*?)(?=, \w+: |$)", group))
            for group in bound_signatures(function, is_method)]


# How the argument errors describe what a parameter of a documented type takes.
DESCRIPTIONS = {
    "float": "a number", "int": "an int", "bool": "a bool", "str": "a str",
    "VectorLike": "a pair of numbers or a Vector", "Vector": "a pair of numbers or a Vector",
    "IntVectorLike": "a pair of ints or an IntVector", "IntVector": "a pair of ints or an IntVector",
    "ColourLike": "a Colour, a tuple of 3 or 4 numbers or a colour string",
    "Colour": "a Colour, a tuple of 3 or 4 numbers or a colour string",
}


def describes(annotation, description):
    """Whether a documented type is what a bound parameter described so takes. A
    parameter taking any object (checked by the function itself) fits any type."""
    if description == "any object":
        return True
    choices = annotation.split(" | ")
    for choice in choices:
        if DESCRIPTIONS.get(choice) == description:
            return True
    classes = [c for c in choices if c != "None"]
    if len(classes) == 1 and classes[0].isidentifier() and classes[0] not in DESCRIPTIONS:
        return description in (described_class(classes[0]), described_class(classes[0]) + " or None")
    return False


def described_class(name):
    """How the argument errors describe an engine class's parameter: "a Texture"."""
    return DESCRIPTIONS.get(name) or ("an " if name[0] in "AEIOUaeiou" else "a ") + name


# Every function and constructor with a signature line, but those taking any arguments
# (*args, **kwargs), which Boost.Python's raw functions receive unchecked.
KEYWORD_CHECKS = sorted(
    ((where, kind, doc, obj) for where, kind, doc, obj in public_members()
     if kind != "property" and "*" not in doc
     and make_stubs.signature_lines(doc, where) != [where.rsplit(".", 1)[1]]),
    key=lambda m: m[0])


@pytest.mark.parametrize("where,kind,doc,function", KEYWORD_CHECKS, ids=[m[0] for m in KEYWORD_CHECKS])
def test_signature_keywords_are_the_bound_ones_everywhere(where, kind, doc, function):
    name = where.rsplit(".", 1)[1]
    documented = {tuple(names) for names in parameter_names(doc, name)}
    assert documented == bound_parameter_names(function, kind == "method")


@pytest.mark.parametrize("where,kind,doc,function", KEYWORD_CHECKS, ids=[m[0] for m in KEYWORD_CHECKS])
def test_signature_types_are_what_the_bindings_take(where, kind, doc, function):
    name = where.rsplit(".", 1)[1]
    documented = [parameter_types(line) for line in signature_block(doc, name)]
    for bound in bound_parameter_types(function, kind == "method"):
        # The documented overload with the same names, if one has them all.
        same = [types for types in documented if set(types) == set(bound)]
        assert same, f"{where}: no documented signature names {sorted(bound)}"
        for parameter, description in bound.items():
            assert describes(same[0][parameter], description), \
                f"{where}: {parameter}: {same[0][parameter]} documented, {description} bound"


SETTABLE = sorted(((where, doc, prop) for where, kind, doc, prop in public_members()
                   if kind == "property" and prop.fset is not None), key=lambda m: m[0])


@pytest.mark.parametrize("where,doc,prop", SETTABLE, ids=[m[0] for m in SETTABLE])
def test_property_types_are_what_the_setters_take(where, doc, prop):
    name = where.rsplit(".", 1)[1]
    setter = make_stubs.parse_setter(prop, name, where) or make_stubs.widen(make_stubs.parse_property(doc, name, where))
    # The setter's self is the class that defined it: the owner or a base.
    module, *path, _ = where.split(".")
    owner = getattr(MODULES_BY_NAME[module], path[0])
    for step in path[1:]:
        owner = getattr(owner, step)
    owner = owner if isinstance(owner, type) else type(owner)
    for signature in bound_signatures(prop.fset, True):
        selves = [described_class(c.__name__) + ", " for c in owner.__mro__ if signature.startswith(
            described_class(c.__name__) + ", ")]
        assert selves, signature
        value = signature[len(selves[0]):]
        assert describes(setter, value), f"{where}: {setter} documented, {value} bound"


@pytest.fixture
def keyword_calls(gl):
    """(callable, its docstring's owner, keyword arguments): calls that name every
    parameter, for constructors and methods across the three modules."""
    g = libgraphics
    transform = g.Transform()
    sprite_text = g.Text()
    return [
        (libcore.Vector, libcore.Vector, dict(x=1.0, y=2.0)),
        (libcore.IntVector, libcore.IntVector, dict(x=1, y=2)),
        (libcore.Vector(1, 0).rotate, libcore.Vector.rotate, dict(angle=0.5)),
        (libcore.Colour, libcore.Colour, dict(r=1.0, g=0.5, b=0.0, a=1.0)),
        (libcore.Colour, libcore.Colour, dict(text="#ff0000")),
        (libcore.Matrix, libcore.Matrix, dict(translation=(1, 2), rotation=0.5)),
        (libcore.Matrix().rotate_vector, libcore.Matrix.rotate_vector, dict(v=(1, 0))),
        (libcore.normalise_angle, libcore.normalise_angle, dict(angle=7.0)),
        (libcore.seed_random, libcore.seed_random, dict(seed=3)),
        (libcore.PathDatabase.exists, libcore.PathDatabase.exists, dict(path="nothing-here")),
        (libwindow.VideoMode, libwindow.VideoMode, dict(resolution=(640, 480), fullscreen=False)),
        (transform.set_rotation_constraint, g.Transform.set_rotation_constraint, dict(min=-1.0, max=1.0)),
        (transform.attach, g.Transform.attach, dict(child=g.Transform())),
        (g.Text, g.Text, dict(text="a", font="", size=12)),
        (g.SceneLayer, g.SceneLayer, dict(id="keywords", z=1.0, scale_flags=0, common=False)),
        (g.Skeleton().add_joint, g.Skeleton.add_joint, dict(name="root")),
        (g.SceneObjectAnimatorMoveSmooth, g.SceneObjectAnimatorMoveSmooth,
         dict(target=(1, 1), duration=1.0, ease_in=True)),
        (g.IKConstraintRotationFixed, g.IKConstraintRotationFixed, dict(rotation=1.0, in_world_space=True)),
        (sprite_text.add_animator, g.SceneObject.add_animator,
         dict(name="spin", animator=g.SceneObjectAnimatorRotate(1.0, 1.0, 1.0), on_finished=None)),
        (g.sprite_database.add, g.sprite_database.add,
         dict(id="keywords", texture="", dimensions=(1, 1), origin=(0, 0), top_left=(0, 0), bottom_right=(1, 1),
              colour=(1, 1, 1), layer="", scale_flags=-1, auto_load=False, force_full_resolution=True)),
        (g.Texture, g.Texture, dict(pixels=bytes(16), dimensions=(2, 2), format=4)),
    ]


def test_signature_keywords_are_the_bound_ones(keyword_calls):
    for function, owner, keywords in keyword_calls:
        doc = owner.__doc__
        name = owner.__name__
        names = parameter_names(doc, name)
        assert list(keywords) in names, f"{name}: {list(keywords)} not among {names}"
        function(**keywords)


def run_mypy(tmp_path, script):
    env = dict(os.environ, MYPYPATH=PYTHON_DIR)
    return subprocess.run(
        ["/usr/bin/python3", "-m", "mypy", "--strict", "--no-error-summary", "--cache-dir", str(tmp_path / "cache"),
         os.path.join(HERE, script)],
        env=env, capture_output=True, text=True, timeout=300)


@needs_stubs
def test_a_type_checker_accepts_a_typed_script(tmp_path):
    result = run_mypy(tmp_path, "typing_sample.py")
    assert result.returncode == 0, result.stdout + result.stderr


@needs_stubs
def test_a_type_checker_flags_a_wrong_call(tmp_path):
    result = run_mypy(tmp_path, "typing_wrong.py")
    assert result.returncode == 1, result.stdout + result.stderr
    errors = [line for line in result.stdout.splitlines() if ": error:" in line]
    assert len(errors) == 3, result.stdout
    assert 'Argument "duration" to "fade" of "Sprite" has incompatible type "str"; expected "float"' in result.stdout
    assert '"Vector" has no attribute "z"' in result.stdout
    assert 'Incompatible types in assignment (expression has type "int", variable has type "str")' in result.stdout


REVEALED = """\
import libcore
import libgraphics
reveal_type(libcore.Vector(1, 2) + (1, 1))
reveal_type(libcore.Vector(1, 2) - [1.0, 1.0])
reveal_type(libcore.IntVector(1, 2) + (1, 1))
reveal_type(libcore.Colour(1, 1, 1) + (0.5, 0.5, 0.5))
reveal_type((1.0, 2.0) * libcore.Matrix())
reveal_type(libgraphics.Skeleton().joints[0])
reveal_type(libgraphics.ParticleSystem("fire").emitters[0])
"""


@needs_stubs
def test_the_stubs_take_pairs_in_value_arithmetic_and_say_none_where_proxies_give_it(tmp_path):
    script = tmp_path / "revealed.py"
    script.write_text(REVEALED)
    env = dict(os.environ, MYPYPATH=PYTHON_DIR)
    result = subprocess.run(["/usr/bin/python3", "-m", "mypy", "--strict", "--no-error-summary", "--cache-dir",
                             str(tmp_path / "cache"), str(script)], env=env, capture_output=True, text=True, timeout=300)
    revealed = [line.split("Revealed type is ", 1)[1].strip('"') for line in result.stdout.splitlines()
                if "Revealed type is" in line]
    assert [line for line in result.stdout.splitlines() if ": error:" in line] == [], result.stdout
    assert len(revealed) == 7, result.stdout
    assert revealed[:5] == ["libcore.Vector", "libcore.Vector", "libcore.IntVector", "libcore.Colour",
                            "libcore.Vector"], result.stdout
    for text, name in zip(revealed[5:], ("libgraphics.Transform", "libgraphics.ParticleEmitter")):
        assert text in (f"{name} | None", f"Union[{name}, None]"), result.stdout
