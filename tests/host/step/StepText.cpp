#include "tests/host/step/StepText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tests {

namespace {

std::string Numbers(const std::vector<int>& entities) {
  std::vector<std::string> texts;
  for (const int entity : entities) {
    texts.push_back(fmt::format("#{}", entity));
  }
  return fmt::format("({})", fmt::join(texts, ","));
}

// Components of unit vectors: one third of a square, and one half.
constexpr double c_slope = 0.577350269189626;
constexpr double c_diagonal = 0.707106781186548;

constexpr const char* c_header =
    "ISO-10303-21;\n"
    "HEADER;\n"
    "FILE_DESCRIPTION((''),'2;1');\n"
    "FILE_NAME('test','2020-01-01T00:00:00',(''),(''),'','','');\n"
    "FILE_SCHEMA(('AUTOMOTIVE_DESIGN { 1 0 10303 214 1 1 1 1 }'));\n"
    "ENDSEC;\n"
    "DATA;\n";

}  // namespace

StepText::StepText(const std::string& unit) {
  applicationContext = Add("APPLICATION_CONTEXT('core data for automotive mechanical design processes')");
  int length = Add("(LENGTH_UNIT()NAMED_UNIT(*)SI_UNIT(.MILLI.,.METRE.))");
  if (unit == "inch") {
    const int dimensions = Add("DIMENSIONAL_EXPONENTS(1.,0.,0.,0.,0.,0.,0.)");
    const int inch = Add(fmt::format("LENGTH_MEASURE_WITH_UNIT(LENGTH_MEASURE(25.4),#{})", length));
    length = Add(fmt::format("(CONVERSION_BASED_UNIT('INCH',#{})LENGTH_UNIT()NAMED_UNIT(#{}))", inch, dimensions));
  }
  const int angle = Add("(NAMED_UNIT(*)PLANE_ANGLE_UNIT()SI_UNIT($,.RADIAN.))");
  const int solidAngle = Add("(NAMED_UNIT(*)SI_UNIT($,.STERADIAN.)SOLID_ANGLE_UNIT())");
  geometricContext =
      Add(fmt::format("(GEOMETRIC_REPRESENTATION_CONTEXT(3)GLOBAL_UNIT_ASSIGNED_CONTEXT((#{},#{},#{}))"
                      "REPRESENTATION_CONTEXT('',''))",
                      length, angle, solidAngle));
}

int StepText::Reserve() {
  return ++last;
}

int StepText::Add(const std::string& entity) {
  const int number = Reserve();
  entities[number] = entity;
  return number;
}

int StepText::Product(const std::string& id, const std::string& name) {
  const int context = Add(fmt::format("PRODUCT_CONTEXT('',#{},'mechanical')", applicationContext));
  const int product = Add(fmt::format("PRODUCT('{}','{}','',(#{}))", id, name, context));
  const int formation = Add(fmt::format("PRODUCT_DEFINITION_FORMATION('','',#{})", product));
  const int definitionContext =
      Add(fmt::format("PRODUCT_DEFINITION_CONTEXT('part definition',#{},'design')", applicationContext));
  return Add(fmt::format("PRODUCT_DEFINITION('design','',#{},#{})", formation, definitionContext));
}

int StepText::Point(double x, double y, double z) {
  return Add(fmt::format("CARTESIAN_POINT('',({:.12f},{:.12f},{:.12f}))", x, y, z));
}

int StepText::Direction(const std::array<double, 3>& direction) {
  return Add(fmt::format("DIRECTION('',({:.12f},{:.12f},{:.12f}))", direction[0], direction[1], direction[2]));
}

int StepText::Axes(const Place& place) {
  const int origin = Point(place.origin[0], place.origin[1], place.origin[2]);
  const int zAxis = Direction(place.zAxis);
  const int xAxis = Direction(place.xAxis);
  return Add(fmt::format("AXIS2_PLACEMENT_3D('',#{},#{},#{})", origin, zAxis, xAxis));
}

int StepText::Face(const std::array<int, 3>& corners, const Place& plane) {
  const int loop = Add(fmt::format("POLY_LOOP('',(#{},#{},#{}))", corners[0], corners[1], corners[2]));
  const int bound = Add(fmt::format("FACE_OUTER_BOUND('',#{},.T.)", loop));
  const int surface = Add(fmt::format("PLANE('',#{})", Axes(plane)));
  return Add(fmt::format("FACE_SURFACE('',(#{}),#{},.T.)", bound, surface));
}

int StepText::Faces(const std::string& shellName, bool closed) {
  const int origin = Point(0, 0, 0);
  const int x = Point(10, 0, 0);
  const int y = Point(0, 10, 0);
  const int z = Point(0, 0, 10);
  std::vector<int> faces{Face({origin, y, x}, {{0, 0, 0}, {0, 0, -1}, {1, 0, 0}}),
                         Face({origin, x, z}, {{0, 0, 0}, {0, -1, 0}, {1, 0, 0}}),
                         Face({origin, z, y}, {{0, 0, 0}, {-1, 0, 0}, {0, 1, 0}})};
  if (closed) {
    faces.push_back(Face({x, y, z}, {{10, 0, 0}, {c_slope, c_slope, c_slope}, {c_diagonal, -c_diagonal, 0}}));
  }
  return Add(fmt::format("{}_SHELL('{}',{})", closed ? "CLOSED" : "OPEN", shellName, Numbers(faces)));
}

int StepText::Solid(const std::string& name) {
  return Add(fmt::format("FACETED_BREP('{}',#{})", name, Faces("", true)));
}

int StepText::Shell(const std::string& name, bool closed) {
  return Add(fmt::format("SHELL_BASED_SURFACE_MODEL('{}',(#{}))", name, Faces("", closed)));
}

int StepText::MappedItem(int representation, const std::array<double, 3>& origin) {
  const int from = Axes({});
  const int map = Add(fmt::format("REPRESENTATION_MAP(#{},#{})", from, representation));
  Place place;
  place.origin = origin;
  return Add(fmt::format("MAPPED_ITEM('',#{},#{})", map, Axes(place)));
}

int StepText::Shape(int productDefinition, const std::vector<int>& items) {
  std::vector<int> all{Axes({})};
  all.insert(all.end(), items.begin(), items.end());
  const int representation = Reserve();
  representations[representation] = all;
  ShareShape(productDefinition, representation);
  return representation;
}

void StepText::ShareShape(int productDefinition, int representation) {
  const int shape = Add(fmt::format("PRODUCT_DEFINITION_SHAPE('','',#{})", productDefinition));
  Add(fmt::format("SHAPE_DEFINITION_REPRESENTATION(#{},#{})", shape, representation));
  representationOf[productDefinition] = representation;
}

int StepText::Use(const std::string& id, const std::string& name, int parent, int child, const Place& place) {
  const int fromAxes = representations.at(representationOf.at(child)).front();
  const int toAxes = Axes(place);
  representations.at(representationOf.at(parent)).push_back(toAxes);
  const int transformation = Add(fmt::format("ITEM_DEFINED_TRANSFORMATION('','',#{},#{})", fromAxes, toAxes));
  return Relate(id, name, parent, child, transformation);
}

int StepText::UseThrough(const std::string& id, int parent, int child, int transformation) {
  return Relate(id, "", parent, child, transformation);
}

int StepText::Relate(const std::string& id, const std::string& name, int parent, int child, int transformation) {
  const int occurrence =
      Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('{}','{}','',#{},#{},$)", id, name, parent, child));
  const int shape = Add(fmt::format("PRODUCT_DEFINITION_SHAPE('','',#{})", occurrence));
  const int relation =
      Add(fmt::format("(REPRESENTATION_RELATIONSHIP('','',#{},#{})"
                      "REPRESENTATION_RELATIONSHIP_WITH_TRANSFORMATION(#{})"
                      "SHAPE_REPRESENTATION_RELATIONSHIP())",
                      representationOf.at(child), representationOf.at(parent), transformation));
  Add(fmt::format("CONTEXT_DEPENDENT_SHAPE_REPRESENTATION(#{},#{})", relation, shape));
  return occurrence;
}

void StepText::DescribeIn(int productDefinition, const std::string& file, const std::string& format) {
  const int context = Add("APPLICATION_CONTEXT('')");
  const int productContext = Add(fmt::format("PRODUCT_CONTEXT('',#{},'')", context));
  const int product = Add(fmt::format("PRODUCT('{}','{}-Doc','',(#{}))", file, file, productContext));
  const int formation = Add(fmt::format("PRODUCT_DEFINITION_FORMATION('1','',#{})", product));
  const int definitionContext =
      Add(fmt::format("PRODUCT_DEFINITION_CONTEXT('digital document definition',#{},'')", context));
  const int documentFile = Add(fmt::format("DOCUMENT_FILE('{}','',$,#{},'',$)", file, Add("DOCUMENT_TYPE('')")));
  Add(fmt::format("PRODUCT_DEFINITION_WITH_ASSOCIATED_DOCUMENTS('1','',#{},#{},(#{}))", formation, definitionContext,
                  documentFile));
  const int document =
      Add(fmt::format("DOCUMENT('','',$,#{})", Add("DOCUMENT_TYPE('configuration controlled document version')")));
  Add(fmt::format("DOCUMENT_PRODUCT_EQUIVALENCE('equivalence',$,#{},#{})", document, formation));
  const int role = Add("IDENTIFICATION_ROLE('external document id and location',$)");
  const int source = Add(fmt::format("EXTERNAL_SOURCE(IDENTIFIER('{}'))", file));
  Add(fmt::format("APPLIED_EXTERNAL_IDENTIFICATION_ASSIGNMENT('{}',#{},#{},(#{}))", file, role, source, documentFile));
  const int reference = Add(fmt::format("APPLIED_DOCUMENT_REFERENCE(#{},'',(#{}))", document, productDefinition));
  Add(fmt::format("ROLE_ASSOCIATION(#{},#{})", Add("OBJECT_ROLE('mandatory',$)"), reference));
  const int property = Add(fmt::format("PROPERTY_DEFINITION('document property','',#{})", documentFile));
  const int item = Add(fmt::format("DESCRIPTIVE_REPRESENTATION_ITEM('data format','{}')", format));
  const int formatContext = Add("REPRESENTATION_CONTEXT('','document parameters')");
  const int formats = Add(fmt::format("REPRESENTATION('document format',(#{}),#{})", item, formatContext));
  Add(fmt::format("PROPERTY_DEFINITION_REPRESENTATION(#{},#{})", property, formats));
  Add(fmt::format("DOCUMENT_REPRESENTATION_TYPE('digital',#{})", documentFile));
  Add(fmt::format("PRODUCT_RELATED_PRODUCT_CATEGORY('document',$,(#{}))", product));
}

int StepText::Use(const std::string& id, const std::string& name, int parent, int child) {
  return Use(id, name, parent, child, Place());
}

std::string StepText::Text() const {
  std::string text = c_header;
  for (int number = 1; number <= last; ++number) {
    const auto representation = representations.find(number);
    if (representation != representations.end()) {
      text += fmt::format("#{}=SHAPE_REPRESENTATION('',{},#{});\n", number, Numbers(representation->second),
                          geometricContext);
    } else {
      text += fmt::format("#{}={};\n", number, entities.at(number));
    }
  }
  return text + "ENDSEC;\nEND-ISO-10303-21;\n";
}

}  // namespace tests
