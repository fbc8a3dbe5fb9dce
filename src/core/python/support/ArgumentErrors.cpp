#include "core/python/support/ArgumentErrors.h"

#include <boost/python/object/class_detail.hpp>
#include <boost/python/object/function.hpp>
#include <boost/python/object/instance.hpp>

#include "engine/core/Colour.h"
#include "engine/core/Matrix.h"
#include "engine/core/Vector.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace engine::core::python {

namespace {

namespace bp = boost::python;
using Function = bp::objects::function;
using Parameter = bp::detail::signature_element;

// Boost.Python keeps a function's implementation, overload chain and keyword names
// private. An explicit instantiation may name private members (the language exempts it
// from access checks), so the error path reads them by name, checked by the compiler,
// instead of copying Boost's layout.
template <class Tag, typename Tag::type Member>
struct Expose {
    friend typename Tag::type get(Tag) { return Member; }
};
struct ImplementationTag {
    using type = bp::objects::py_function Function::*;
    friend type get(ImplementationTag);
};
struct OverloadsTag {
    using type = bp::handle<Function> Function::*;
    friend type get(OverloadsTag);
};
struct KeywordsTag {
    using type = bp::object Function::*;
    friend type get(KeywordsTag);
};
template struct Expose<ImplementationTag, &Function::m_fn>;
template struct Expose<OverloadsTag, &Function::m_overloads>;
template struct Expose<KeywordsTag, &Function::m_arg_names>;

const bp::objects::py_function& implementation(const Function* f) { return f->*get(ImplementationTag()); }
const Function* next_overload(const Function* f) { return (f->*get(OverloadsTag())).get(); }
const bp::object& keywords(const Function* f) { return f->*get(KeywordsTag()); }

// --- What a parameter accepts, in script words -----------------------------------

struct Known {
    std::string name;                                 // Boost's demangled name of the C++ type
    const bp::converter::registration* registration;  // its converters
    const char* description;
};

template <class T>
Known known(const char* description) {
    return {bp::type_id<T>().name(), bp::converter::registry::query(bp::type_id<T>()), description};
}

// Built on the first failed call, when every module has registered its converters.
const Known* find_known(const std::string& name) {
    static const std::vector<Known> table = {
        known<float>("a number"),
        known<double>("a number"),
        known<int>("an int"),
        known<unsigned int>("an int"),
        known<long>("an int"),
        known<unsigned long>("an int"),
        known<long long>("an int"),
        known<unsigned long long>("an int"),
        known<short>("an int"),
        known<unsigned short>("an int"),
        known<unsigned char>("an int"),
        known<bool>("a bool"),
        known<std::string>("a str"),
        known<Vector<float>>("a pair of numbers or a Vector"),
        known<Vector<int>>("a pair of ints or an IntVector"),
        known<Colour>("a Colour, a tuple of 3 or 4 numbers or a colour string"),
        known<Matrix>("a Matrix"),
    };
    for (const Known& k : table)
        if (k.name == name) return &k;
    return nullptr;
}

const char* short_name(const char* name) {
    const char* dot = std::strrchr(name, '.');
    return dot ? dot + 1 : name;
}

std::string type_name(PyObject* o) { return short_name(Py_TYPE(o)->tp_name); }

std::string with_article(const std::string& noun) {
    return (std::strchr("AEIOUaeiou", noun[0]) ? "an " : "a ") + noun;
}

bool is_pointer(const Parameter& p) { return std::strchr(p.basename, '*') != nullptr; }
std::string bare_name(const Parameter& p) {
    std::string name = p.basename;
    if (const std::size_t star = name.find('*'); star != std::string::npos) name.erase(star);
    while (!name.empty() && name.back() == ' ') name.pop_back();
    return name;
}
bool is_any_object(const Parameter& p) { return bare_name(p) == "boost::python::api::object"; }

PyTypeObject* python_type(const Parameter& p) { return p.pytype_f ? const_cast<PyTypeObject*>(p.pytype_f()) : nullptr; }

std::string describe(const Parameter& p) {
    const std::string name = bare_name(p);
    std::string text;
    if (const Known* k = find_known(name))
        text = k->description;
    else if (is_any_object(p))
        return "any object";
    else if (name == "char const" || name == "char")
        text = "a str";
    else if (PyTypeObject* t = python_type(p))
        text = with_article(short_name(t->tp_name));
    else
        text = with_article(name.substr(name.rfind(':') == std::string::npos ? 0 : name.rfind(':') + 1));
    return is_pointer(p) ? text + " or None" : text;
}

bool is_engine_instance(PyObject* o) {
    return PyObject_TypeCheck(reinterpret_cast<PyObject*>(Py_TYPE(o)), bp::objects::class_metatype().get());
}

// An instance of a script class whose __init__ never ran its engine base's __init__.
bool lacks_native_object(PyObject* o) {
    return is_engine_instance(o) && reinterpret_cast<bp::objects::instance<>*>(o)->objects == nullptr;
}

bool accepts(const Parameter& p, PyObject* arg) {
    if (is_any_object(p)) return true;
    if (is_pointer(p) && arg == Py_None) return true;
    bool result = false;
    if (const Known* k = find_known(bare_name(p)); k && k->registration) {
        result = p.lvalue ? bp::converter::get_lvalue_from_python(arg, *k->registration) != nullptr
                          : bp::converter::rvalue_from_python_stage1(arg, *k->registration).convertible != nullptr;
    } else if (PyTypeObject* t = python_type(p)) {
        result = PyObject_TypeCheck(arg, t) && !lacks_native_object(arg);
    }
    PyErr_Clear();  // a converter's test must not leave an error behind
    return result;
}

// --- Which member was called, and with what ----------------------------------------

std::vector<const Function*> overloads(const Function* f) {
    std::vector<const Function*> all;
    for (; f; f = next_overload(f)) all.push_back(f);
    return all;
}

bool is_constructor(const Function* f) {
    const bp::object& name = f->name();
    return !name.is_none() && bp::extract<std::string>(name)() == "__init__";
}

// Whether the call bound a `self` of the function's own class (a method or accessor).
bool has_self(const Function* f, PyObject* args) {
    if (PyTuple_GET_SIZE(args) == 0) return false;
    const Parameter* sig = implementation(f).signature();
    if (!sig[1].basename) return false;
    PyTypeObject* t = python_type(sig[1]);
    return t && PyType_IsSubtype(t, bp::objects::class_type().get()) &&
           PyObject_TypeCheck(PyTuple_GET_ITEM(args, 0), t);
}

// The name of a property accessor, found in the class of its `self`: Boost.Python
// leaves accessors unnamed, and looking here keeps the cost on the error path.
std::string accessor_name(PyObject* function, PyObject* self) {
    PyObject* mro = Py_TYPE(self)->tp_mro;
    for (Py_ssize_t i = 0; mro && i < PyTuple_GET_SIZE(mro); ++i) {
        PyObject* dict = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(mro, i))->tp_dict;
        PyObject *key, *value;
        Py_ssize_t pos = 0;
        while (PyDict_Next(dict, &pos, &key, &value)) {
            if (!PyObject_TypeCheck(value, &PyProperty_Type)) continue;
            for (const char* accessor : {"fget", "fset"}) {
                bp::object a(bp::handle<>(PyObject_GetAttrString(value, accessor)));
                if (a.ptr() == function) return bp::extract<std::string>(key)();
                // A sealed getter keeps the accessor it wraps.
                if (PyObject_HasAttrString(a.ptr(), "__wrapped__") &&
                    bp::object(a.attr("__wrapped__")).ptr() == function)
                    return bp::extract<std::string>(key)();
            }
        }
    }
    return std::string();
}

std::string member_name(PyObject* function, const Function* f, PyObject* args) {
    const bool self = has_self(f, args);
    if (is_constructor(f)) return type_name(PyTuple_GET_ITEM(args, 0)) + "()";
    std::string owner = self ? type_name(PyTuple_GET_ITEM(args, 0))
                             : (f->get_namespace().is_none() ? std::string()
                                                             : std::string(bp::extract<std::string>(
                                                                   bp::str(f->get_namespace()))()));
    // An accessor's own name, if any, is the helper's that built it (`overloaded`).
    std::string member = self ? accessor_name(function, PyTuple_GET_ITEM(args, 0)) : std::string();
    if (member.empty())
        member = f->name().is_none() ? std::string("<function>") : std::string(bp::extract<std::string>(f->name())());
    return owner.empty() ? member : owner + "." + member;
}

// The first parameter that the script sees: constructors and methods hide `self`.
std::size_t first_visible(const Function* f, PyObject* args) { return is_constructor(f) || has_self(f, args) ? 1 : 0; }

std::string keyword_name(const Function* f, std::size_t index) {
    const bp::object& names = keywords(f);
    if (names.is_none() || static_cast<Py_ssize_t>(index) >= PyTuple_GET_SIZE(names.ptr())) return std::string();
    PyObject* entry = PyTuple_GET_ITEM(names.ptr(), index);
    if (entry == Py_None) return std::string();
    return bp::extract<std::string>(PyTuple_GET_ITEM(entry, 0))();
}

std::string parameter_list(const Function* f, PyObject* args) {
    const Parameter* sig = implementation(f).signature();
    std::string text = "(";
    for (std::size_t i = first_visible(f, args), n = 0; sig[i + 1].basename; ++i, ++n) {
        const std::string name = keyword_name(f, i);
        text += (n ? ", " : "") + (name.empty() ? std::string() : name + ": ") + describe(sig[i + 1]);
    }
    return text + ")";
}

std::string argument_list(PyObject* args, PyObject* kwargs, std::size_t skip) {
    std::string text = "(";
    bool first = true;
    for (Py_ssize_t i = skip; i < PyTuple_GET_SIZE(args); ++i, first = false)
        text += (first ? "" : ", ") + type_name(PyTuple_GET_ITEM(args, i));
    PyObject *key, *value;
    Py_ssize_t pos = 0;
    while (kwargs && PyDict_Next(kwargs, &pos, &key, &value)) {
        text += (first ? "" : ", ") + std::string(PyUnicode_AsUTF8(key)) + "=" + type_name(value);
        first = false;
    }
    return text + ")";
}

// The arguments of a call laid out on one overload's parameters (null where a default
// applies); false when the count or a keyword does not fit it.
bool bind(const Function* f, PyObject* args, PyObject* kwargs, std::vector<PyObject*>& bound) {
    const auto& impl = implementation(f);
    const std::size_t given = PyTuple_GET_SIZE(args) + (kwargs ? PyDict_Size(kwargs) : 0);
    std::size_t defaults = 0;  // keyword defaults fill the trailing parameters
    const bp::object& names = keywords(f);
    for (Py_ssize_t i = 0; !names.is_none() && i < PyTuple_GET_SIZE(names.ptr()); ++i) {
        PyObject* entry = PyTuple_GET_ITEM(names.ptr(), i);
        if (entry != Py_None && PyTuple_GET_SIZE(entry) == 2) ++defaults;
    }
    if (given + defaults < impl.min_arity() || given > impl.max_arity()) return false;
    bound.assign(impl.max_arity(), nullptr);
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(args); ++i) bound[i] = PyTuple_GET_ITEM(args, i);
    PyObject *key, *value;
    Py_ssize_t pos = 0;
    while (kwargs && PyDict_Next(kwargs, &pos, &key, &value)) {
        bool found = false;
        for (std::size_t i = 0; i < bound.size() && !found; ++i)
            if (!bound[i] && keyword_name(f, i) == PyUnicode_AsUTF8(key)) bound[i] = value, found = true;
        if (!found) return false;
    }
    return true;
}

std::string readable_message(PyObject* function, PyObject* args, PyObject* kwargs) {
    const Function* head = reinterpret_cast<const Function*>(function);
    const std::string name = member_name(function, head, args);
    const std::size_t skip = first_visible(head, args);
    const bool accessor = has_self(head, args) && !accessor_name(function, PyTuple_GET_ITEM(args, 0)).empty();

    // A script object whose native object was never made.
    std::vector<PyObject*> given;
    for (Py_ssize_t i = is_constructor(head) ? 1 : 0; i < PyTuple_GET_SIZE(args); ++i)
        given.push_back(PyTuple_GET_ITEM(args, i));
    PyObject *key, *value;
    Py_ssize_t pos = 0;
    while (kwargs && PyDict_Next(kwargs, &pos, &key, &value)) given.push_back(value);
    for (PyObject* o : given)
        if (std::string message = missing_base_init(o); !message.empty()) return message;

    // The overloads that fit the count all refuse the same argument: name it, with
    // everything those overloads would take there.
    std::vector<std::string> accepted;
    std::size_t refused = 0;
    std::string which;
    PyObject* refused_arg = nullptr;
    bool single_value = false, same = true;
    std::vector<PyObject*> bound;
    for (const Function* f : overloads(head)) {
        if (!bind(f, args, kwargs, bound)) continue;
        const Parameter* sig = implementation(f).signature();
        std::size_t i = is_constructor(f) ? 1 : 0;
        while (i < bound.size() && (!bound[i] || accepts(sig[i + 1], bound[i]))) ++i;
        std::string name_here = i < skip ? "self" : keyword_name(f, i);
        if (name_here.empty()) name_here = "argument " + std::to_string(i - skip + 1);
        if (i == bound.size() || (refused_arg && (i != refused || name_here != which))) {
            same = false;
            break;
        }
        refused = i, refused_arg = bound[i];
        if (std::find(accepted.begin(), accepted.end(), describe(sig[i + 1])) == accepted.end())
            accepted.insert(accepted.begin(), describe(sig[i + 1]));
        which = name_here;
        // A property's setter: the value is the only argument.
        single_value = bound.size() - skip == 1 && i >= skip && accessor;
    }
    if (same && refused_arg) {
        std::string expected;
        // "an int or a str"; "a number, a pair of numbers or a Vector": the forms that
        // have alternatives of their own go last.
        std::stable_partition(accepted.begin(), accepted.end(),
                              [](const std::string& a) { return a.find(" or ") == std::string::npos; });
        const char* last = accepted.back().find(" or ") == std::string::npos ? " or " : ", ";
        for (std::size_t k = 0; k < accepted.size(); ++k)
            expected += (k == 0 ? "" : k + 1 == accepted.size() ? last : ", ") + accepted[k];
        const std::string got = refused_arg == Py_None ? "None" : type_name(refused_arg);
        return name + ": expected " + expected + (single_value ? std::string() : " for " + which) + ", got " + got;
    }

    // Otherwise every signature, and what came.
    std::string expected;
    const std::vector<const Function*> all = overloads(head);
    for (auto it = all.rbegin(); it != all.rend(); ++it)
        expected += (expected.empty() ? "" : " or ") + parameter_list(*it, args);
    return name + ": expected " + expected + ", got " + argument_list(args, kwargs, skip);
}

ternaryfunc boost_call = nullptr;

bool is_signature_mismatch(PyObject* type, PyObject* value) {
    // Boost.Python.ArgumentError: a heap type's tp_name is its short name.
    if (!type || std::strcmp(short_name(reinterpret_cast<PyTypeObject*>(type)->tp_name), "ArgumentError") != 0)
        return false;
    // Only Boost's own report of this call, not one rising from a call nested in it.
    const char* text = value && PyUnicode_Check(value) ? PyUnicode_AsUTF8(value) : nullptr;
    return text && std::strncmp(text, "Python argument types in", 24) == 0;
}

PyObject* call_with_readable_errors(PyObject* function, PyObject* args, PyObject* kwargs) {
    PyObject* result = boost_call(function, args, kwargs);
    if (result) return result;
    PyObject *type, *value, *traceback;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    PyObject* text = value ? PyObject_Str(value) : nullptr;
    if (!text) PyErr_Clear();
    if (!is_signature_mismatch(type, text)) {
        Py_XDECREF(text);
        PyErr_Restore(type, value, traceback);
        return nullptr;
    }
    Py_XDECREF(text);
    try {
        const std::string message = readable_message(function, args, kwargs);
        PyErr_Clear();
        PyErr_SetString(type, message.c_str());
        Py_XDECREF(type);
        Py_XDECREF(value);
        Py_XDECREF(traceback);
    } catch (...) {
        // Boost's own text is better than none.
        PyErr_Clear();
        PyErr_Restore(type, value, traceback);
    }
    return nullptr;
}

void do_nothing() {}

}  // namespace

void install_argument_errors() {
    bp::object any = bp::make_function(&do_nothing);
    PyTypeObject* function_type = Py_TYPE(any.ptr());
    if (function_type->tp_call == &call_with_readable_errors) return;
    boost_call = function_type->tp_call;
    function_type->tp_call = &call_with_readable_errors;
}

// --- Value copies returned by properties -------------------------------------------

namespace {

// A property getter (or an index proxy's item getter) that hands out its value as an
// instance of a "copy" subclass of the value's class (same layout, refusing component
// writes). Called through vectorcall: one C call more.
struct CopyGetter {
    PyObject_HEAD
    PyObject* getter;     // the Boost.Python accessor, owned
    PyObject* copies;     // tuple of the copy subclasses, one per value class, owned
    vectorcallfunc call;  // CopyGetter's vectorcall entry
};

PyObject* copy_getter_call(PyObject* self, PyObject* const* args, std::size_t nargs, PyObject* kwnames) {
    auto* g = reinterpret_cast<CopyGetter*>(self);
    PyObject* result = PyObject_Vectorcall(g->getter, args, nargs, kwnames);
    // Only a fresh value of exactly a copy's base class changes class.
    if (!result || Py_REFCNT(result) != 1) return result;
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(g->copies); ++i) {
        auto* copy = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(g->copies, i));
        if (Py_TYPE(result) != copy->tp_base) continue;
        PyTypeObject* old = Py_TYPE(result);
        Py_INCREF(copy);
        Py_SET_TYPE(result, copy);
        Py_DECREF(old);
        break;
    }
    return result;
}

void copy_getter_dealloc(PyObject* self) {
    auto* g = reinterpret_cast<CopyGetter*>(self);
    Py_XDECREF(g->getter);
    Py_XDECREF(g->copies);
    PyObject_Free(self);
}

PyObject* copy_getter_wrapped(PyObject* self, void*) {
    PyObject* getter = reinterpret_cast<CopyGetter*>(self)->getter;
    Py_INCREF(getter);
    return getter;
}

// As a class attribute (an item getter) it binds its instance like a function.
PyObject* copy_getter_bind(PyObject* self, PyObject* instance, PyObject*) {
    if (!instance || instance == Py_None) return Py_NewRef(self);
    return PyMethod_New(self, instance);
}

PyGetSetDef copy_getter_members[] = {{"__wrapped__", &copy_getter_wrapped, nullptr, nullptr, nullptr}, {}};

PyTypeObject copy_getter_type = [] {
    PyTypeObject t = {};
    t.ob_base.ob_base.ob_refcnt = 1;  // static: never freed
    t.tp_name = "libcore.CopyGetter";
    t.tp_basicsize = sizeof(CopyGetter);
    t.tp_dealloc = &copy_getter_dealloc;
    t.tp_vectorcall_offset = offsetof(CopyGetter, call);
    t.tp_call = &PyVectorcall_Call;
    t.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_VECTORCALL;
    t.tp_getset = copy_getter_members;
    t.tp_descr_get = &copy_getter_bind;
    return t;
}();

bp::object make_copy_getter(bp::object getter, bp::tuple copies) {
    if (PyType_Ready(&copy_getter_type) < 0) bp::throw_error_already_set();
    auto* g = PyObject_New(CopyGetter, &copy_getter_type);
    if (!g) bp::throw_error_already_set();
    g->getter = bp::incref(getter.ptr());
    g->copies = bp::incref(copies.ptr());
    g->call = reinterpret_cast<vectorcallfunc>(&copy_getter_call);
    return bp::object(bp::handle<>(reinterpret_cast<PyObject*>(g)));
}

// The value class an accessor returns ("Vector", "IntVector", "Colour"), "object" when
// it may return anything, or "".
std::string returned_value(bp::object accessor) {
    bp::object f = accessor;
    if (Py_TYPE(f.ptr()) == &copy_getter_type) f = bp::object(accessor.attr("__wrapped__"));
    if (Py_TYPE(f.ptr()) != Py_TYPE(bp::make_function(&do_nothing).ptr())) return "";
    const std::string name = implementation(reinterpret_cast<const Function*>(f.ptr())).get_return_type().basename;
    if (name == bp::type_id<Vector<float>>().name()) return "Vector";
    if (name == bp::type_id<Vector<int>>().name()) return "IntVector";
    if (name == bp::type_id<Colour>().name()) return "Colour";
    if (name == bp::type_id<bp::object>().name()) return "object";
    return "";
}

// The walk itself is plain Python: it runs once per module entry.
const char* seal_source = R"py(
def _seal_value_copies(module):
    import inspect
    examples = {"Vector": "(x, y)", "IntVector": "(x, y)", "Colour": "(r, g, b, a)"}
    engine_class = type(Vector)
    def copy_class(value, owner, member):
        if member == "__getitem__":
            message = (f"{owner} items are copies: assign the whole value, "
                       f"e.g. {owner.lower()}[i] = {examples[value]}")
        else:
            message = (f"{owner}.{member} returns a copy: assign the whole value, "
                       f"e.g. {owner.lower()}.{member} = {examples[value]}")
        def __setattr__(self, name, new):
            raise AttributeError(message)
        base = globals()[value]
        return engine_class(value, (base,), {"__slots__": (), "__setattr__": __setattr__,
                                             "__module__": base.__module__, "__qualname__": value})
    for cls in list(vars(module).values()):
        if not isinstance(cls, engine_class):
            continue
        for member in dir(cls):
            prop = inspect.getattr_static(cls, member)
            if member == "__getitem__" and "__setitem__" in dir(cls) and _returned_value(prop):
                # Items of an index proxy (sprite.colours[0]) are copies as well; an
                # item getter returning any object may give any value class.
                value = _returned_value(prop)
                values = list(examples) if value == "object" else [value]
                getter = getattr(prop, "__wrapped__", prop)
                setattr(cls, member, _copy_getter(getter, tuple(copy_class(v, cls.__name__, member) for v in values)))
                continue
            if not isinstance(prop, property) or prop.fget is None:
                continue
            value = _returned_value(prop.fget)
            if value not in examples:
                continue
            getter = getattr(prop.fget, "__wrapped__", prop.fget)
            setattr(cls, member, property(_copy_getter(getter, (copy_class(value, cls.__name__, member),)),
                                          prop.fset, prop.fdel, prop.__doc__))
)py";

}  // namespace

void define_value_copies() {
    bp::def("_returned_value", &returned_value, "_returned_value(accessor: object) -> str");
    bp::def("_copy_getter", &make_copy_getter, "_copy_getter(getter: object, copies: tuple[type, ...]) -> object");
    bp::object scope = bp::scope();
    bp::exec(seal_source, scope.attr("__dict__"), scope.attr("__dict__"));
}

}  // namespace engine::core::python
