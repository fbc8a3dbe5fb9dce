#include <boost/python.hpp>

#include "engine/core/XMLParser.h"
#include "engine/core/script/XMLSource.h"

#include "core/RecordingParser.h"
#include "core/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

using engine::core::parse_xml_source;
using engine::core::test::Events;
using engine::core::test::LogCapture;
using engine::core::test::RecordingParser;
using engine::core::test::TemporaryDirectory;
using engine::core::test::mentions;
using engine::core::test::starts_with;

// The script-facing entry point, with Python objects as sources.
namespace {

namespace bp = boost::python;

bp::object evaluate(const char* expression) {
    bp::object main = bp::import("__main__");
    return bp::eval(expression, main.attr("__dict__"));
}

}  // namespace

TEST(XMLSource, ParseAcceptsAPythonStringAsPath) {
    TemporaryDirectory directory;
    const std::string path = directory.write("doc.xml", "<doc/>");
    RecordingParser parser;
    const bp::object source(bp::handle<>(PyUnicode_FromString(path.c_str())));
    EXPECT_TRUE(parse_xml_source(parser, source.ptr()));
    EXPECT_EQ(parser.events, (Events{"start doc", "end doc"}));
}

TEST(XMLSource, ParseAcceptsFileObjectsGivingStrOrBytes) {
    bp::exec("import io", bp::import("__main__").attr("__dict__"));
    {
        RecordingParser parser;
        const bp::object source = evaluate("io.StringIO('<a>t\\u00e9xt</a>')");
        EXPECT_TRUE(parse_xml_source(parser, source.ptr()));
        EXPECT_EQ(parser.events, (Events{"start a", "data [t\xc3\xa9xt]", "end a"}));
    }
    {
        RecordingParser parser;
        const bp::object source = evaluate("io.BytesIO(b'<b k=\"v\"/>')");
        EXPECT_TRUE(parse_xml_source(parser, source.ptr()));
        EXPECT_EQ(parser.events, (Events{"start b k=v", "end b"}));
    }
}

TEST(XMLSource, ParseOfMalformedStreamReturnsFalseWithoutPythonError) {
    bp::exec("import io", bp::import("__main__").attr("__dict__"));
    LogCapture log;
    RecordingParser parser;
    const bp::object source = evaluate("io.StringIO('<a>\\n<b>\\n</a>')");
    EXPECT_FALSE(parse_xml_source(parser, source.ptr()));
    EXPECT_FALSE(PyErr_Occurred());
    EXPECT_TRUE(starts_with(parser.events, {"start a", "data [\n]", "start b"}));
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_TRUE(mentions(log.entries()[0].message, "line 3")) << log.entries()[0].message;
}

TEST(XMLSource, ParseOfOtherSourceRaisesTypeError) {
    for (const char* expression : {"42", "None", "b'<a/>'", "object()"}) {
        RecordingParser parser;
        const bp::object source = evaluate(expression);
        EXPECT_THROW(parse_xml_source(parser, source.ptr()), bp::error_already_set) << expression;
        EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_TypeError)) << expression;
        PyErr_Clear();
        EXPECT_TRUE(parser.events.empty());
    }
}

TEST(XMLSource, ParseOfStreamWhoseReadGivesNeitherStrNorBytesRaisesTypeError) {
    bp::exec("class NumberReader:\n    def read(self):\n        return 5\n", bp::import("__main__").attr("__dict__"));
    RecordingParser parser;
    const bp::object source = evaluate("NumberReader()");
    EXPECT_THROW(parse_xml_source(parser, source.ptr()), bp::error_already_set);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_TypeError));
    PyErr_Clear();
}
