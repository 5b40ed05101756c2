#include "zipper/zipper.h"

#include <stdexcept>
#include <thread>
#include <utility>

#include "zipper/zipper_impl.h"

namespace zipper {

Zipper::Zipper(const std::string& zipName, const std::string& password)
    : zipName_(zipName), password_(password) {
  if (!openArchive()) throw std::runtime_error("Error creating zip in file!");
}

Zipper::~Zipper() {
  release();
}

bool Zipper::openArchive() {
  if (!impl_) impl_ = std::make_unique<Impl>(zipName_, password_, std::thread::hardware_concurrency());
  open_ = impl_->open();
  return open_;
}

void Zipper::open() {
  if (!open_ && !openArchive()) throw std::runtime_error("Error opening zip file!");
}

void Zipper::setHooks(Hooks hooks) {
  if (impl_) impl_->hooks = std::move(hooks);
}

bool Zipper::add(const std::string& path, unsigned flags) {
  if (open_) impl_->add(path, flags);
  return true;
}

void Zipper::close() {
  if (!open_) return;
  open_ = false;
  if (!impl_->close()) throw std::runtime_error("Error closing zip file!");
}

void Zipper::release() {
  open_ = false;
  impl_.reset();
}

}  // namespace zipper
