#include "engine/data_base.h"
#include "engine/to_string.h"

namespace std {

string to_string(const string& value) { return value; }

}  // namespace std

namespace nuvik::utils {

DataBase::DataBase(const std::string& name) : name_(name) {}

DataBase::~DataBase() = default;

const std::string& DataBase::name() const { return name_; }

}  // namespace nuvik::utils
