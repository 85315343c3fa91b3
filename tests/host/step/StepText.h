// Writes small STEP files for tests, text by hand: products, uses, and bodies that are tetrahedra.

#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

namespace tests {

/// Entities are numbered from 1 in the order in which they were asked for, one per line.
class StepText {
 public:
  /// Where a use stands: origin, z axis and x axis, in the file's unit.
  struct Place {
    std::array<double, 3> origin{0, 0, 0};
    std::array<double, 3> zAxis{0, 0, 1};
    std::array<double, 3> xAxis{1, 0, 0};
  };

  /// `unit` is the name of a unit of length: "mm" or "inch".
  explicit StepText(const std::string& unit = "mm");

  /// Adds an entity as it is written after the equals sign, without the semicolon; gives its number.
  int Add(const std::string& entity);
  /// Gives the number of a product definition. Texts are taken as they are: an apostrophe has to come doubled.
  int Product(const std::string& id, const std::string& name);
  /// A solid of four planes.
  int Solid(const std::string& name);
  /// A surface model of a shell with three planes (open) or four (closed).
  int Shell(const std::string& name, bool closed);
  /// A closed shell of four planes, or an open one of three, that nothing refers to yet.
  int Faces(const std::string& shellName, bool closed);
  /// The content of a representation once more, as an item, moved there.
  int MappedItem(int representation, const std::array<double, 3>& origin);
  /// Gives the product definition a representation that holds these items besides its axes. Once per product, and
  /// before the first use that has a part in it. Gives the number of the representation.
  int Shape(int productDefinition, const std::vector<int>& items);
  /// Gives the product definition a representation that it shares with another one.
  void ShareShape(int productDefinition, int representation);
  /// A use of `child` in `parent`; both have a shape. Gives the number of the usage occurrence.
  int Use(const std::string& id, const std::string& name, int parent, int child, const Place& place);
  int Use(const std::string& id, const std::string& name, int parent, int child);

  /// A use that is placed by a transformation operator, an entity of that number.
  int UseThrough(const std::string& id, int parent, int child, int transformation);
  /// Says that the product definition is described in a file of that name.
  void DescribeIn(int productDefinition, const std::string& file, const std::string& format = "STEP AP214");

  std::string Text() const;

 private:
  int Reserve();
  int Axes(const Place& place);
  int Point(double x, double y, double z);
  int Direction(const std::array<double, 3>& direction);
  int Relate(const std::string& id, const std::string& name, int parent, int child, int transformation);
  int Face(const std::array<int, 3>& corners, const Place& plane);

  std::map<int, std::string> entities;
  // The items of each; uses add axes to them, so that they are written out at the end.
  std::map<int, std::vector<int>> representations;
  std::map<int, int> representationOf;
  int last = 0;
  int applicationContext = 0;
  int geometricContext = 0;
};

}  // namespace tests
