// make_samples FOLDER
//
// Writes the drive of a belt conveyor as two STEP files, revision A and revision B, into FOLDER. Two runs give the
// same bytes: whatever a clock or an address could change is set afterwards.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <APIHeaderSection_MakeHeader.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeRevol.hxx>
#include <BRep_Builder.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Message_Printer.hxx>
#include <STEPCAFControl_Writer.hxx>
#include <StepBasic_Product.hxx>
#include <StepData_StepModel.hxx>
#include <StepRepr_NextAssemblyUsageOccurrence.hxx>
#include <TCollection_ExtendedString.hxx>
#include <TCollection_HAsciiString.hxx>
#include <TDF_Label.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS_Compound.hxx>
#include <TopoDS_Shape.hxx>
#include <TopoDS_Shell.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>
#include <gp_Ax1.hxx>
#include <gp_Pnt.hxx>
#include <gp_Trsf.hxx>
#include <gp_Vec.hxx>

namespace {

// ------ Shapes, all lengths in millimetres

constexpr double c_fullTurn = 6.283185307179586;
constexpr double c_quarterTurn = c_fullTurn / 4;

TopoDS_Shape Box(double x, double y, double z) {
  return BRepPrimAPI_MakeBox(x, y, z).Shape();
}

TopoDS_Shape Moved(const TopoDS_Shape& shape, double x, double y, double z) {
  gp_Trsf translation;
  translation.SetTranslation(gp_Vec(x, y, z));
  return shape.Moved(TopLoc_Location(translation));
}

// A body of revolution about the z axis from the corners (radius, height) of its half section.
TopoDS_Shape Turned(const std::vector<std::pair<double, double>>& corners) {
  BRepBuilderAPI_MakePolygon outline;
  for (const auto& [radius, height] : corners) {
    outline.Add(gp_Pnt(radius, 0, height));
  }
  outline.Close();
  const gp_Ax1 axis(gp_Pnt(0, 0, 0), gp_Dir(0, 0, 1));
  return BRepPrimAPI_MakeRevol(BRepBuilderAPI_MakeFace(outline.Wire()).Face(), axis).Shape();
}

TopoDS_Shape Cylinder(double diameter, double length) {
  return Turned({{0, 0}, {diameter / 2, 0}, {diameter / 2, length}, {0, length}});
}

TopoDS_Shape Ring(double outer, double inner, double length) {
  return Turned({{inner / 2, 0}, {outer / 2, 0}, {outer / 2, length}, {inner / 2, length}});
}

TopoDS_Shape Bolt(double diameter, double length) {
  const double head = 0.85 * diameter;
  return Turned({{0, -head}, {diameter, -head}, {diameter, 0}, {diameter / 2, 0}, {diameter / 2, length}, {0, length}});
}

TopoDS_Shape Shaft(double middle, double end, double length) {
  const double step = length / 4;
  return Turned({{0, 0},
                 {end / 2, 0},
                 {end / 2, step},
                 {middle / 2, step},
                 {middle / 2, length - step},
                 {end / 2, length - step},
                 {end / 2, length},
                 {0, length}});
}

TopoDS_Shape Together(const std::vector<TopoDS_Shape>& shapes) {
  TopoDS_Compound compound;
  BRep_Builder builder;
  builder.MakeCompound(compound);
  for (const TopoDS_Shape& shape : shapes) {
    builder.Add(compound, shape);
  }
  return compound;
}

// Sheet metal as surface designers leave it: the faces of a box without its bottom.
TopoDS_Shape Hood(double x, double y, double z) {
  const TopoDS_Shape box = Box(x, y, z);
  TopoDS_Shell shell;
  BRep_Builder builder;
  builder.MakeShell(shell);
  int number = 0;
  // A box gives its faces in the order -x, +x, -y, +y, -z, +z.
  for (TopExp_Explorer faces(box, TopAbs_FACE); faces.More(); faces.Next()) {
    if (++number != 5) {
      builder.Add(shell, faces.Current());
    }
  }
  return shell;
}

// ------ The product

struct Place {
  double x = 0;
  double y = 0;
  double z = 0;
  // Quarter turns about the x axis, then about the z axis.
  int aboutX = 0;
  int aboutZ = 0;
};

struct Use {
  std::string marking;
  Place place;
  // What a design system keeps for a use through all revisions of its holder.
  std::string id;
};

struct Product {
  std::string marking;
  std::string name;
  TopoDS_Shape shape;
  // Of the bodies, in their order; empty where they have none.
  std::vector<std::string> bodyNames;
  std::vector<Use> uses;
};

// Products in the order in which they were entered; the last one is the whole.
class Catalogue {
 public:
  void Part(const std::string& marking, const std::string& name, const TopoDS_Shape& shape,
            const std::vector<std::string>& bodyNames = {}) {
    products.push_back({marking, name, shape, bodyNames, {}});
  }

  void Assembly(const std::string& marking, const std::string& name) {
    products.push_back({marking, name, {}, {}, {}});
  }

  // Adds a use to the assembly entered last. `id` is unique in the whole catalogue.
  void Put(const std::string& marking, const std::string& id, const Place& place) {
    products.back().uses.push_back({marking, place, id});
  }

  // Adds `count` uses, numbered from 1 behind `id`, each by `step` further on.
  void PutRow(const std::string& marking, const std::string& id, const Place& first, const Place& step, int count) {
    Place place = first;
    for (int i = 1; i <= count; ++i) {
      Put(marking, id + std::to_string(i), place);
      place.x += step.x;
      place.y += step.y;
      place.z += step.z;
    }
  }

  const std::vector<Product>& Products() const { return products; }

 private:
  std::vector<Product> products;
};

enum class Revision { a, b };

void AddFasteners(Catalogue& drive) {
  drive.Part("ISO 4017 M8x30", "Болт М8х30", Bolt(8, 30));
  drive.Part("ISO 4017 M10x45", "Болт М10х45", Bolt(10, 45));
  drive.Part("ISO 4017 M16x60", "Болт М16х60", Bolt(16, 60));
  drive.Part("ISO 7089 8", "Шайба 8", Ring(16, 8.4, 1.6));
  drive.Part("ISO 7089 10", "Шайба 10", Ring(20, 10.5, 2));
  drive.Part("ISO 7089 16", "Шайба 16", Ring(30, 17, 3));
  drive.Part("ISO 4032 M10", "Гайка М10", Ring(17, 10, 8.4));
  drive.Part("ISO 4032 M16", "Гайка М16", Ring(26, 16, 14.8));
  drive.Part("ISO 15 6206", "Ball bearing 6206", Ring(62, 30, 16));
  drive.Part("ISO 15 6210", "Ball bearing 6210", Ring(90, 50, 20));
  drive.Part("ISO 2491 8x7x40", "Шпонка 8х7х40", Box(40, 8, 7));

  drive.Assembly("QD.90.10.000", "Болтовое соединение М10");
  drive.Put("ISO 4017 M10x45", "J10-bolt", {});
  drive.Put("ISO 7089 10", "J10-washer1", {0, 0, 0});
  drive.Put("ISO 7089 10", "J10-washer2", {0, 0, 30});
  drive.Put("ISO 4032 M10", "J10-nut", {0, 0, 32});

  drive.Assembly("QD.90.16.000", "Болтовое соединение М16");
  drive.Put("ISO 4017 M16x60", "J16-bolt", {});
  drive.Put("ISO 7089 16", "J16-washer1", {0, 0, 0});
  drive.Put("ISO 7089 16", "J16-washer2", {0, 0, 40});
  drive.Put("ISO 4032 M16", "J16-nut", {0, 0, 43});
}

void AddFrame(Catalogue& drive, Revision revision) {
  drive.Part("QD.01.01.001", "Швеллер", Box(1200, 80, 140));
  drive.Part("QD.01.01.002", "Поперечина", Box(80, 440, 120));
  drive.Part("QD.01.01.003", "Платик", Box(90, 90, 12));
  // Revision B has a thicker bracket with another outline under the same marking.
  drive.Part(
      "QD.01.01.004", "Кронштейн",
      revision == Revision::a ? Box(60, 40, 80) : Turned({{10, 0}, {38, 0}, {38, 12}, {24, 12}, {24, 80}, {10, 80}}));

  drive.Assembly("QD.01.01.000", "Рама");
  drive.PutRow("QD.01.01.001", "FR-beam", {0, 0, 0}, {0, 520, 0}, 2);
  drive.PutRow("QD.01.01.002", "FR-cross", {60, 80, 0}, {333, 0, 0}, 4);
  drive.PutRow("QD.01.01.003", "FR-padL", {60, -5, 140}, {330, 0, 0}, 4);
  drive.PutRow("QD.01.01.003", "FR-padR", {60, 515, 140}, {330, 0, 0}, 4);
  drive.PutRow("QD.01.01.004", "FR-bracket", {200, 280, 140}, {700, 0, 0}, 2);
  drive.PutRow("QD.90.16.000", "FR-anchorL", {100, 40, 140}, {400, 0, 0}, 3);
  // Revision B does without two of the anchors.
  drive.PutRow("QD.90.16.000", "FR-anchorR", {100, 560, 140}, {400, 0, 0}, revision == Revision::a ? 3 : 1);
}

void AddShaft(Catalogue& drive, const std::string& marking, const std::string& name, const std::string& id,
              double diameter, double wheel, const std::string& bearing) {
  const std::string base = marking.substr(0, marking.size() - 1);
  drive.Part(base + "1", "Вал " + id, Shaft(diameter + 10, diameter, 260));
  drive.Part(base + "2", "Gear " + id, Ring(wheel, diameter + 10, 50));
  drive.Assembly(marking, name);
  drive.Put(base + "1", id + "-shaft", {});
  drive.Put(base + "2", id + "-gear", {0, 0, 100});
  drive.Put("ISO 2491 8x7x40", id + "-key", {-20, diameter / 2, 105});
  drive.Put(bearing, id + "-bearing1", {0, 0, 20});
  drive.Put(bearing, id + "-bearing2", {0, 0, 220});
}

void AddGearbox(Catalogue& drive, Revision revision) {
  AddShaft(drive, "QD.01.02.100", "Вал быстроходный", "S1", 30, 60, "ISO 15 6206");
  AddShaft(drive, "QD.01.02.200", "Вал промежуточный", "S2", 30, 160, "ISO 15 6206");
  AddShaft(drive, "QD.01.02.300", "Вал тихоходный", "S3", 50, 220, "ISO 15 6210");

  drive.Part("QD.01.02.001", "Корпус редуктора", Box(460, 260, 180));
  drive.Part("QD.01.02.002", "Gearbox cover", Box(460, 260, 120));
  // Revision B is sealed without a gasket.
  if (revision == Revision::a) {
    drive.Part("QD.01.02.003", "Прокладка", Box(460, 260, 1));
  }
  drive.Part("QD.01.02.004", "Oil gauge", Cylinder(14, 160));
  drive.Part("QD.01.02.005", "Пробка сливная", Cylinder(22, 18));
  drive.Part("QD.01.02.011", "Bearing cap", Ring(110, 32, 14));

  drive.Assembly("QD.01.02.010", "Крышка подшипника в сборе");
  drive.Put("QD.01.02.011", "CAP-cap", {});
  for (int i = 0; i < 4; ++i) {
    const double x = i % 2 == 0 ? -34 : 34;
    const double y = i < 2 ? -34 : 34;
    drive.Put("ISO 4017 M8x30", "CAP-bolt" + std::to_string(i + 1), {x, y, -1.6});
    drive.Put("ISO 7089 8", "CAP-washer" + std::to_string(i + 1), {x, y, -1.6});
  }

  drive.Assembly("QD.01.02.000", "Редуктор");
  drive.Put("QD.01.02.001", "GB-housing", {});
  if (revision == Revision::a) {
    drive.Put("QD.01.02.003", "GB-gasket", {0, 0, 180});
  }
  drive.Put("QD.01.02.002", "GB-cover", {0, 0, revision == Revision::a ? 181.0 : 180.0});
  drive.Put("QD.01.02.100", "GB-shaft1", {90, 260, 180, 1, 0});
  drive.Put("QD.01.02.200", "GB-shaft2", {220, 260, 180, 1, 0});
  drive.Put("QD.01.02.300", "GB-shaft3", {360, 260, 180, 1, 0});
  drive.PutRow("QD.01.02.010", "GB-capL", {90, 0, 180, 1, 0}, {135, 0, 0}, 3);
  drive.PutRow("QD.01.02.010", "GB-capR", {90, 274, 180, 1, 0}, {135, 0, 0}, 3);
  drive.PutRow("QD.90.10.000", "GB-jointL", {30, 12, 160}, {133, 0, 0}, 4);
  drive.PutRow("QD.90.10.000", "GB-jointR", {30, 248, 160}, {133, 0, 0}, 4);
  drive.Put("QD.01.02.004", "GB-gauge", {420, 130, 60});
  drive.Put("QD.01.02.005", "GB-plug", {460, 130, 20, 0, 1});
}

void AddCoupling(Catalogue& drive) {
  drive.Part("QD.01.04.001", "Полумуфта", Ring(140, 30, 60));
  drive.Part("QD.01.04.002", "Палец", Cylinder(14, 90));
  drive.Part("QD.01.04.003", "Rubber bushing", Ring(28, 14, 40));

  drive.Assembly("QD.01.04.000", "Муфта");
  drive.Put("QD.01.04.001", "CP-half1", {});
  drive.Put("QD.01.04.001", "CP-half2", {0, 0, 64});
  for (int i = 0; i < 4; ++i) {
    const double x = i % 2 == 0 ? -36 : 36;
    const double y = i < 2 ? -36 : 36;
    drive.Put("QD.01.04.002", "CP-pin" + std::to_string(i + 1), {x, y, 15});
    drive.Put("QD.01.04.003", "CP-bushing" + std::to_string(i + 1), {x, y, 66});
  }
  drive.PutRow("ISO 2491 8x7x40", "CP-key", {-20, 15, 10}, {0, 0, 70}, 2);
}

void AddDrum(Catalogue& drive, Revision revision) {
  drive.Part("QD.01.05.001", "Обечайка", Ring(320, 300, 500));
  drive.Part("QD.01.05.002", "Drum disc", Ring(300, 60, 16));
  drive.Part("QD.01.05.003", "Ось барабана", Shaft(60, 50, 760));
  drive.Part("QD.01.05.101", "Pillow block", Together({Box(200, 60, 30), Moved(Ring(130, 90, 60), 100, 30, 30)}),
             {"Foot", "Bore"});

  drive.Assembly("QD.01.05.100", "Подшипниковый узел");
  drive.Put("QD.01.05.101", "PB-block", {});
  drive.Put("ISO 15 6210", "PB-bearing", {100, 30, 50});
  drive.PutRow("QD.90.16.000", "PB-joint", {20, 30, 30}, {160, 0, 0}, 2);

  drive.Assembly("QD.01.05.000", "Барабан приводной");
  drive.Put("QD.01.05.003", "DR-axle", {0, 0, 0, 1, 0});
  drive.Put("QD.01.05.001", "DR-shell", {0, -130, 0, 1, 0});
  drive.PutRow("QD.01.05.002", "DR-disc", {0, -150, 0, 1, 0}, {0, -440, 0}, 2);
  drive.PutRow("QD.01.05.100", "DR-unit", {-100, -40, -80}, {0, -680, 0}, 2);
  // In revision B the slow coupling is delivered with the drum.
  if (revision == Revision::b) {
    drive.Put("QD.01.04.000", "DR-coupling", {0, 124, 0, 1, 0});
  }
}

void AddGuard(Catalogue& drive, Revision revision) {
  drive.Part("QD.01.06.001", "Кожух муфты", Hood(260, 220, 180));
  drive.Part("QD.01.06.002", "Guard rail", Box(300, 20, 20));
  if (revision == Revision::b) {
    drive.Part("QD.01.06.003", "Ручка кожуха", Box(120, 16, 24));
  }

  drive.Assembly("QD.01.06.000", "Ограждение");
  drive.Put("QD.01.06.001", "GD-hood", {});
  drive.PutRow("QD.01.06.002", "GD-rail", {-20, -20, 0}, {0, 240, 0}, 2);
  drive.PutRow("ISO 4017 M8x30", "GD-boltL", {10, -10, 20}, {80, 0, 0}, 4);
  drive.PutRow("ISO 4017 M8x30", "GD-boltR", {10, 230, 20}, {80, 0, 0}, 4);
  drive.PutRow("ISO 7089 8", "GD-washerL", {10, -10, 20}, {80, 0, 0}, 4);
  drive.PutRow("ISO 7089 8", "GD-washerR", {10, 230, 20}, {80, 0, 0}, 4);
  if (revision == Revision::b) {
    drive.Put("QD.01.06.003", "GD-handle", {70, 100, 180});
    drive.PutRow("ISO 4017 M8x30", "GD-boltH", {80, 108, 204}, {100, 0, 0}, 2);
  }
}

void AddBrake(Catalogue& drive) {
  drive.Part("QD.01.07.001", "Brake disc", Ring(240, 50, 12));
  drive.Part("QD.01.07.002", "Тормозная скоба", Box(90, 60, 50));

  drive.Assembly("QD.01.07.000", "Тормоз");
  drive.Put("QD.01.07.001", "BR-disc", {});
  drive.Put("QD.01.07.002", "BR-caliper", {90, -30, -19});
  drive.PutRow("QD.90.10.000", "BR-joint", {110, -20, -19}, {0, 40, 0}, 2);
}

Catalogue MakeDrive(Revision revision) {
  Catalogue drive;
  AddFasteners(drive);
  AddFrame(drive, revision);
  AddGearbox(drive, revision);
  AddCoupling(drive);
  AddDrum(drive, revision);
  AddGuard(drive, revision);
  if (revision == Revision::b) {
    AddBrake(drive);
  }
  drive.Part("QD.01.03.000", "Electric motor 7.5 kW",
             Together({Cylinder(240, 360), Moved(Box(120, 90, 80), -60, 110, 140)}),
             {"Корпус двигателя", "Terminal box"});

  drive.Assembly("QD.01.00.000", "Привод ленточного конвейера");
  drive.Put("QD.01.01.000", "TOP-frame", {});
  drive.Put("QD.01.02.000", "TOP-gearbox", {420, 130, 152});
  // In revision B the motor stands further back.
  drive.Put("QD.01.03.000", "TOP-motor", {revision == Revision::a ? 40.0 : 20.0, 260, 332, 0, 0});
  drive.PutRow("QD.90.10.000", "TOP-motorJoint", {0, 160, 140}, {0, 70, 0}, 4);
  drive.Put("QD.01.04.000", "TOP-coupling1", {380, 260, 332});
  if (revision == Revision::a) {
    drive.Put("QD.01.04.000", "TOP-coupling2", {780, 420, 332, 1, 0});
  }
  drive.Put("QD.01.05.000", "TOP-drum", {780, 1240, 332});
  drive.Put("QD.01.06.000", "TOP-guard", {300, 150, 240});
  if (revision == Revision::b) {
    drive.Put("QD.01.07.000", "TOP-brake", {330, 260, 332});
  }
  drive.PutRow("QD.90.16.000", "TOP-joint", {450, 150, 140}, {360, 0, 0}, 2);
  return drive;
}

// ------ Writing

gp_Trsf ToTransformation(const Place& place) {
  gp_Trsf aboutX;
  aboutX.SetRotation(gp_Ax1(gp_Pnt(0, 0, 0), gp_Dir(1, 0, 0)), place.aboutX * c_quarterTurn);
  gp_Trsf aboutZ;
  aboutZ.SetRotation(gp_Ax1(gp_Pnt(0, 0, 0), gp_Dir(0, 0, 1)), place.aboutZ * c_quarterTurn);
  gp_Trsf translation;
  translation.SetTranslation(gp_Vec(place.x, place.y, place.z));
  return translation * aboutZ * aboutX;
}

void SetName(const TDF_Label& label, const std::string& name) {
  TDataStd_Name::Set(label, TCollection_ExtendedString(name.c_str(), Standard_True));
}

void NameBodies(const Handle(XCAFDoc_ShapeTool) & shapes, const TDF_Label& part, const Product& product) {
  std::size_t number = 0;
  for (TopExp_Explorer bodies(product.shape, TopAbs_SOLID); bodies.More(); bodies.Next()) {
    if (number < product.bodyNames.size()) {
      SetName(shapes->AddSubShape(part, bodies.Current()), product.bodyNames[number++]);
    }
  }
}

// Gives a document whose labels carry markings and identifiers; the names follow in the entities.
Handle(TDocStd_Document) MakeDocument(const Catalogue& catalogue) {
  Handle(TDocStd_Document) document;
  XCAFApp_Application::GetApplication()->NewDocument("BinXCAF", document);
  const Handle(XCAFDoc_ShapeTool) shapes = XCAFDoc_DocumentTool::ShapeTool(document->Main());
  std::map<std::string, TDF_Label> labels;
  for (const Product& product : catalogue.Products()) {
    const bool isPart = !product.shape.IsNull();
    const TDF_Label label = isPart ? shapes->AddShape(product.shape, Standard_False) : shapes->NewShape();
    SetName(label, product.marking);
    if (!labels.emplace(product.marking, label).second) {
      throw std::runtime_error("marking used twice: " + product.marking);
    }
    if (isPart) {
      NameBodies(shapes, label, product);
    }
    for (const Use& use : product.uses) {
      SetName(shapes->AddComponent(label, labels.at(use.marking), TopLoc_Location(ToTransformation(use.place))),
              use.id);
    }
  }
  shapes->UpdateAssemblies();
  return document;
}

Handle(TCollection_HAsciiString) ToEntityText(const std::string& text) {
  return new TCollection_HAsciiString(text.c_str());
}

// Of products by marking, and of uses by identifier: the product's name with a number that counts within the holder.
std::map<std::string, std::string> NamesOf(const Catalogue& catalogue) {
  std::map<std::string, std::string> names;
  for (const Product& product : catalogue.Products()) {
    names[product.marking] = product.name;
    std::map<std::string, int> count;
    for (const Use& use : product.uses) {
      names[use.id] = names.at(use.marking) + ":" + std::to_string(++count[use.marking]);
    }
  }
  return names;
}

// The writer gives a product its name for an identifier and numbers the usage occurrences afresh in every file. A
// design system keeps both.
void SetIdentifiers(const Handle(StepData_StepModel) & model, const Catalogue& catalogue) {
  const std::map<std::string, std::string> names = NamesOf(catalogue);
  for (Standard_Integer i = 1; i <= model->NbEntities(); ++i) {
    if (const auto product = Handle(StepBasic_Product)::DownCast(model->Value(i)); !product.IsNull()) {
      product->SetName(ToEntityText(names.at(product->Id()->ToCString())));
    }
    const auto use = Handle(StepRepr_NextAssemblyUsageOccurrence)::DownCast(model->Value(i));
    if (use.IsNull()) {
      continue;
    }
    use->SetId(use->Name());
    use->SetName(ToEntityText(names.at(use->Id()->ToCString())));
  }
}

void SetHeader(const Handle(StepData_StepModel) & model, const std::string& file) {
  APIHeaderSection_MakeHeader header(model);
  header.SetName(ToEntityText(file));
  header.SetTimeStamp(ToEntityText("2024-01-01T00:00:00"));
  header.SetAuthorValue(1, ToEntityText(""));
  header.SetOrganizationValue(1, ToEntityText(""));
}

void Write(const std::filesystem::path& file, const Catalogue& catalogue) {
  STEPCAFControl_Writer writer;
  Interface_Static::SetCVal("write.step.schema", "AP214IS");
  Interface_Static::SetIVal("write.stepcaf.subshapes.name", 1);
  if (!writer.Transfer(MakeDocument(catalogue))) {
    throw std::runtime_error("cannot transfer " + file.string());
  }
  const Handle(StepData_StepModel) model = writer.ChangeWriter().Model();
  SetIdentifiers(model, catalogue);
  SetHeader(model, file.filename().string());
  if (writer.Write(file.c_str()) != IFSelect_RetDone) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("make_samples: name the folder to write into\n", stderr);
    return EXIT_FAILURE;
  }
  try {
    Message::DefaultMessenger()->RemovePrinters(STANDARD_TYPE(Message_Printer));
    const std::filesystem::path folder = arguments[1];
    Write(folder / "conveyor_drive_rev_a.step", MakeDrive(Revision::a));
    Write(folder / "conveyor_drive_rev_b.step", MakeDrive(Revision::b));
    return EXIT_SUCCESS;
  } catch (const Standard_Failure& error) {
    std::fprintf(stderr, "make_samples: %s\n", error.GetMessageString());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_samples: %s\n", error.what());
  }
  return EXIT_FAILURE;
}
