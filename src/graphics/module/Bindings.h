#pragma once

// Conventions shared by every script interface of the graphics module.
#include "core/python/support/Helpers.h"
#include "core/python/support/IndexProxy.h"
#include "core/python/support/ObjectWrapper.h"
#include "core/python/support/SingletonWrapper.h"

namespace engine::graphics::python {

namespace bp = boost::python;
using core::python::get_item;
using core::python::Proxy;
using core::python::raise;
using core::python::register_with_factory;
using core::python::set_item;
using core::python::SingletonWrapper;
using core::python::to_python;

}  // namespace engine::graphics::python
