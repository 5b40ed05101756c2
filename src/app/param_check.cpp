#include "app/param_check.h"

namespace quelmar {

const std::vector<OptParam> LogCollectionToolOptParams = {
    {"dir", 'd', "The directory where the log is saved."},
};

ParamCheck::ParamCheck() : parser_(std::make_shared<cmdline::parser>()) {
  initOptParam();
}

void ParamCheck::initOptParam() {
  for (const OptParam& option : LogCollectionToolOptParams) {
    parser_->add<std::string>(option.name, option.shortName, option.description, false, "");
  }
  parser_->add("version", 'v', "print current version");
  parser_->add("onlyKey", 'k', "Only collect the key logs");
  parser_->add("help", '?', "Print help message");
  parser_->add("quiet", 'q', "Quiet run");
}

std::string logcollect_version_string() {
  return "2.2.10.300";
}

}  // namespace quelmar
