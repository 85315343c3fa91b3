#pragma once

/// Marks what libqProdData offers to other libraries.
#define QPRODDATA_API __attribute__((visibility("default")))
