#include "benchmarks/cost/account.h"

#include "benchmarks/cost/lens.h"

namespace bench {

void Bookkeeper::open() {
  if (atBegin_) {
    atBegin_();
  }
  account_.watched.isCounting = true;
  beginToLook(account_);
}

void Bookkeeper::close() {
  endToLook(account_);
  account_.watched.isCounting = false;
  if (atEnd_) {
    atEnd_();
  }
}

}  // namespace bench
