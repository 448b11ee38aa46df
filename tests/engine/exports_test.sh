#!/bin/sh
# exports_test.sh NM READELF LIBRARY
#
# The engine library exports what include/engine declares and nothing else, and is named as the
# platform's own library is.
set -eu
nm=$1
readelf=$2
library=$3

expected=$(LC_ALL=C sort <<'END'
nuvik::alg::common::AIEngine::AIEngine
nuvik::alg::common::AIEngine::DoInference
nuvik::alg::common::AIEngine::Init
nuvik::alg::common::AIEngine::~AIEngine
nuvik::alg::common::ReadNetwork
nuvik::alg::common::TakeRunTime
nuvik::model::DecodedObjects::DecodedObjects
nuvik::model::DecodedObjects::Take
nuvik::model::DecodedObjects::~DecodedObjects
nuvik::model::TakeNonFiniteCounts
nuvik::model::Yolov8Postprocess::PostProcess
nuvik::model::Yolov8Postprocess::Yolov8Postprocess
nuvik::model::Yolov8Postprocess::~Yolov8Postprocess
nuvik::utils::DataBase::DataBase
nuvik::utils::DataBase::name
nuvik::utils::DataBase::~DataBase
std::to_string
typeinfo for nuvik::utils::DataBase
typeinfo name for nuvik::utils::DataBase
vtable for nuvik::utils::DataBase
END
)
# Address and kind go from the front, arguments and ABI tags from the end.
found=$("$nm" -DC --defined-only "$library" |
  sed -e 's/^[0-9a-f]* [A-Za-z] //' -e 's/(.*//' -e 's/\[abi:.*//' | LC_ALL=C sort -u)
if [ "$found" != "$expected" ]; then
  printf 'exported:\n%s\nexpected:\n%s\n' "$found" "$expected" >&2
  exit 1
fi

# Of the overloads of std::to_string, only the one that the standard library lacks.
overloads=$("$nm" -D --defined-only "$library" | grep -c 'to_string')
if [ "$overloads" -ne 1 ]; then
  echo "$overloads overloads of std::to_string exported; expected 1" >&2
  exit 1
fi

soname=$("$readelf" -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
if [ "$soname" != libtessmar_ai_engine.so ]; then
  echo "SONAME is '$soname'; expected libtessmar_ai_engine.so" >&2
  exit 1
fi
