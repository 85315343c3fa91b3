// make_step tree USES REVISION FILE
// make_step parts COUNT FILE
//
// Writes STEP files to import. `tree` nests four levels with USES of one product in each, so that few bytes stand for
// USES^4 parts; revision 2 moves one product and takes out the last use of another. `parts` is one assembly of COUNT
// different parts with 60 faces each, as large files are.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_Printer.hxx>
#include <STEPCAFControl_Writer.hxx>
#include <Standard_Failure.hxx>
#include <TCollection_ExtendedString.hxx>
#include <TDF_Label.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopoDS_Shape.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>
#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>
#include <gp_Vec.hxx>

namespace {

constexpr int c_levels = 4;
constexpr int c_facesOfPart = 60;

class Product {
 public:
  Product() {
    XCAFApp_Application::GetApplication()->NewDocument("BinXCAF", document);
    shapes = XCAFDoc_DocumentTool::ShapeTool(document->Main());
  }

  TDF_Label Part(const TopoDS_Shape& shape, const std::string& name) {
    return Named(shapes->AddShape(shape, Standard_False), name);
  }
  TDF_Label Assembly(const std::string& name) { return Named(shapes->NewShape(), name); }

  void Put(const TDF_Label& holder, const TDF_Label& used, double x) {
    gp_Trsf translation;
    translation.SetTranslation(gp_Vec(x, 0, 0));
    Named(shapes->AddComponent(holder, used, TopLoc_Location(translation)), "use " + std::to_string(++uses));
  }

  void Write(const std::filesystem::path& file) {
    shapes->UpdateAssemblies();
    STEPCAFControl_Writer writer;
    Interface_Static::SetCVal("write.step.schema", "AP214IS");
    if (!writer.Transfer(document) || writer.Write(file.c_str()) != IFSelect_RetDone) {
      throw std::runtime_error("cannot write " + file.string());
    }
  }

 private:
  static TDF_Label Named(const TDF_Label& label, const std::string& name) {
    TDataStd_Name::Set(label, TCollection_ExtendedString(name.c_str(), Standard_True));
    return label;
  }

  Handle(TDocStd_Document) document;
  Handle(XCAFDoc_ShapeTool) shapes;
  int uses = 0;
};

// A prism over a polygon with a side for each face but two.
TopoDS_Shape Prism(int faces, double radius, double height) {
  constexpr double c_fullTurn = 6.283185307179586;
  BRepBuilderAPI_MakePolygon outline;
  const int sides = faces - 2;
  for (int side = 0; side < sides; ++side) {
    const double angle = c_fullTurn * side / sides;
    outline.Add(gp_Pnt(radius * std::cos(angle), radius * std::sin(angle), 0));
  }
  outline.Close();
  return BRepPrimAPI_MakePrism(BRepBuilderAPI_MakeFace(outline.Wire()).Face(), gp_Vec(0, 0, height)).Shape();
}

void WriteTree(int uses, int revision, const std::filesystem::path& file) {
  Product product;
  const bool isRevised = revision > 1;
  // The lowest assembly uses different parts, those above one assembly each.
  TDF_Label lower = product.Assembly("level 4");
  for (int use = 0; use < uses; ++use) {
    const TDF_Label part =
        product.Part(BRepPrimAPI_MakeBox(10, 10, 10 + use).Shape(), "part " + std::to_string(use + 1));
    product.Put(lower, part, 20 * use + (isRevised && use == 0 ? 5 : 0));
  }
  for (int level = c_levels - 1; level > 0; --level) {
    const TDF_Label holder = product.Assembly("level " + std::to_string(level));
    const int count = isRevised && level == 1 ? uses - 1 : uses;
    for (int use = 0; use < count; ++use) {
      product.Put(holder, lower, 1000.0 * use);
    }
    lower = holder;
  }
  product.Write(file);
}

void WriteParts(int count, const std::filesystem::path& file) {
  Product product;
  const TDF_Label root = product.Assembly("root");
  for (int i = 0; i < count; ++i) {
    product.Put(root, product.Part(Prism(c_facesOfPart, 20, 10 + 0.01 * i), "part " + std::to_string(i + 1)), 50 * i);
  }
  product.Write(file);
}

void Run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 4 && arguments[0] == "tree") {
    WriteTree(std::stoi(arguments[1]), std::stoi(arguments[2]), arguments[3]);
  } else if (arguments.size() == 3 && arguments[0] == "parts") {
    WriteParts(std::stoi(arguments[1]), arguments[2]);
  } else {
    throw std::invalid_argument("usage: make_step tree USES REVISION FILE | parts COUNT FILE");
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_Printer));
    Run(std::vector<std::string>(arguments + 1, arguments + count));
    return EXIT_SUCCESS;
  } catch (const Standard_Failure& error) {
    std::fprintf(stderr, "make_step: %s\n", error.GetMessageString());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_step: %s\n", error.what());
  }
  return EXIT_FAILURE;
}
