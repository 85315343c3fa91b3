#pragma once

/// Marks what libqProdData3D offers to other libraries; cmake/qProdData3D.map lists the same names.
#define QPRODDATA3D_API __attribute__((visibility("default")))
