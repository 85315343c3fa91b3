#pragma once

#include <string>

#include <boost/property_tree/ptree.hpp>

#include <qProdData/SimplePropVal.h>

/// A property with parts: a value of its own and, by name, the values of its parts.
using PropertyTree = boost::property_tree::basic_ptree<std::wstring, SimplePropVal>;
