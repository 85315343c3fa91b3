# libqProdData3D.so. The object library is what the shared one is made of; tests that look inside link it directly.

add_library(qProdData3D_objects OBJECT
  link_store/ProductGeometryObjects3D.cpp
  meta_3d/CheckValidProductGeometryLink.cpp
  meta_3d/GetGroupObjPositionValue.cpp
  meta_3d/GetMarkingFromProdData.cpp
  meta_3d/GetPositionValues.cpp
  meta_3d/PartFlags.cpp
  meta_3d/SetPositionsMetaLinks.cpp
  persistence/LinkStream.cpp
  persistence/ReadMetaObjectsLinks.cpp)
target_include_directories(qProdData3D_objects PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
target_link_libraries(qProdData3D_objects PUBLIC qPlatform::q3DCore qPlatform::qDebugTools Boost::headers
                                          PRIVATE qpd_warnings)
target_compile_options(qProdData3D_objects PRIVATE ${QPD_INLINE_SEARCHES})
set_target_properties(qProdData3D_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

add_library(qProdData3D SHARED)
add_library(qProdData3D::qProdData3D ALIAS qProdData3D)
target_include_directories(qProdData3D PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(qProdData3D PUBLIC cxx_std_20)
target_link_libraries(qProdData3D PRIVATE $<BUILD_INTERFACE:qProdData3D_objects>
                                  PUBLIC qPlatform::q3DCore qPlatform::qDebugTools)
set_target_properties(qProdData3D PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})

set(QPD_EXPORTS ${PROJECT_SOURCE_DIR}/cmake/qProdData3D.map)
target_link_options(qProdData3D PRIVATE -Wl,--version-script=${QPD_EXPORTS} -Wl,--no-undefined-version)
set_property(TARGET qProdData3D APPEND PROPERTY LINK_DEPENDS ${QPD_EXPORTS})
if(NOT QPD_SANITIZE)
  target_link_options(qProdData3D PRIVATE -Wl,-z,defs)
endif()
