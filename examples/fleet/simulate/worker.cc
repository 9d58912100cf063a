// How the sites of one connection live, publish and answer.
#include "worker.h"

#include <thread>

namespace fleet {
namespace {

constexpr auto kRetry = std::chrono::milliseconds(100);
constexpr int64_t kAnswerMs = 2000;

const char* Name(Fate fate) {
  switch (fate) {
    case Fate::kStored:
      return "stored";
    case Fate::kRejected:
      return "rejected";
    default:
      return "either";
  }
}

Clock::time_point After(Clock::time_point begin, double seconds) {
  return begin + std::chrono::duration_cast<Clock::duration>(
                     std::chrono::duration<double>(seconds));
}

// Why a message is not acknowledged. Without a server, the library gives
// reasons that would lead people astray.
std::string Reason(natsConnection* connection, natsStatus status, int code) {
  if (natsConnection_Status(connection) != NATS_CONN_STATUS_CONNECTED) {
    return Explain(NATS_NO_SERVER);
  }
  return Explain(status, code);
}

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

}  // namespace

Worker::Worker(const Plan& plan, int index, const std::string& run,
               Counts* counts, Ledger* ledger)
    : plan_(plan),
      index_(index),
      run_(run + "-" + std::to_string(index) + "-"),
      counts_(counts),
      ledger_(ledger),
      chance_(plan.seed + static_cast<uint64_t>(index)),
      connection_(Connect(plan.server, "simulate", true)),
      context_(Streams(connection_.get())) {
  if (plan.window > 1) {
    window_ = std::make_unique<Window>(connection_.get(), plan.window,
                                       plan.patience, counts, ledger);
  }
  for (int i = index; i < plan.sites; i += plan.connections) {
    residents_.emplace_back(std::make_unique<Site>(plan.seed, i));
  }
  for (Resident& resident : residents_) {
    by_name_[resident.site->name()] = &resident;
  }
  natsSubscription* subscription = nullptr;
  const natsStatus status = natsConnection_Subscribe(
      &subscription, connection_.get(), kPriceSubjects, OnOrder, this);
  subscription_.reset(subscription);
  if (status != NATS_OK) throw Failure(kInputOutput, Explain(status));
}

void Worker::OnOrder(natsConnection*, natsSubscription*, natsMsg* message,
                     void* worker) {
  const Msg owner(message);
  auto* self = static_cast<Worker*>(worker);
  // "tarn.v0.<site>.Prices.set"
  const std::string subject = natsMsg_GetSubject(message);
  const size_t begin = sizeof("tarn.v0.") - 1;
  const std::string site =
      subject.substr(begin, subject.find('.', begin) - begin);
  if (self->by_name_.count(site) == 0) return;
  const std::lock_guard<std::mutex> lock(self->mutex_);
  self->to_answer_.insert(site);
}

uint64_t Worker::Publish(const std::string& subject, const std::string& bytes,
                         const char* fate) {
  static Notices notices("simulate");  // of all workers
  const std::string id = NextId();
  const auto deadline = After(Clock::now(), plan_.patience);
  ++counts_->sent;
  while (true) {
    uint64_t sequence = 0;
    jsErrCode code = {};
    const natsStatus status = PublishOnce(context_.get(), subject, bytes, id,
                                          &sequence, &code, kAnswerMs);
    if (status == NATS_OK) {
      ++counts_->acknowledged;
      ledger_->Add(sequence, fate, subject, bytes, id);
      return sequence;
    }
    if (status == NATS_MAX_PAYLOAD ||
        code == JSStreamMessageExceedsMaximumErr) {
      ++counts_->refused;
      return 0;
    }
    ExpectOpen(connection_.get());
    if (Clock::now() > deadline) {
      throw Failure(kInputOutput, "a message was not acknowledged: " +
                                      Reason(connection_.get(), status, code));
    }
    notices.Say(Reason(connection_.get(), status, code) + "; trying again");
    ++counts_->again;
    std::this_thread::sleep_for(kRetry);
  }
}

void Worker::Send(const Resident& resident,
                  const std::vector<Outgoing>& messages) {
  for (const Outgoing& message : messages) {
    const std::string subject = Subject(resident.site->name(), message.type);
    if (window_) {
      window_->Publish(subject, message.bytes, NextId());
    } else {
      Publish(subject, message.bytes, Name(Fate::kStored));
    }
  }
}

void Worker::SendReports(Clock::time_point begin,
                         const std::atomic<bool>& stop) {
  for (size_t next = 0; !stop && Progress(begin) < 1; ++next) {
    const Resident& resident = residents_[next % residents_.size()];
    Send(resident, {resident.site->Report(static_cast<size_t>(plan_.size))});
  }
}

void Worker::SendHostile() {
  const auto limit =
      static_cast<size_t>(natsConnection_GetMaxPayload(connection_.get()));
  const size_t too_large = kLargestMessage + 1;
  const HostileMessage message =
      MakeHostile(index_ + plan_.connections * hostile_++, Any()->site->name(),
                  limit < too_large ? limit : too_large, &chance_);
  Publish(message.subject, message.bytes, Name(message.fate));
  ++counts_->hostile;
}

void Worker::OrderPrices() {
  Resident* resident = Any();
  tarn::Prices prices;
  const int line = 1 + chance_.Below(resident->site->lines());
  prices.add_prices()->set_line_num(line);
  prices.mutable_prices(0)->set_product_id(line % 2 == 1 ? "regular"
                                                         : "diesel");
  prices.mutable_prices(0)->set_set_price(RandomPrice(&chance_));
  resident->ordered = Publish(PriceSubject(resident->site->name()),
                              prices.SerializeAsString(), "order");
  ++orders_;
  ++counts_->ordered;
}

void Worker::AnswerOrder(Resident* resident) {
  Msg order;
  if (LastOrder(context_.get(), resident->site->name(), &order) != NATS_OK) {
    return;  // none stands, or no server is there: AwaitAnswers() asks again
  }
  const uint64_t sequence = natsMsg_GetSequence(order.get());
  tarn::Prices prices;
  if (sequence <= resident->answered ||
      !prices.ParseFromArray(natsMsg_GetData(order.get()),
                             natsMsg_GetDataLength(order.get()))) {
    return;
  }
  ++counts_->taken;
  Send(*resident, resident->site->Apply(OrderKey(sequence), prices));
  resident->answered = sequence;
  ++counts_->answered;
}

void Worker::AnswerOrders() {
  std::set<std::string> names;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    names.swap(to_answer_);
  }
  for (const std::string& name : names) AnswerOrder(by_name_[name]);
}

void Worker::AwaitAnswers() {
  const auto deadline = After(Clock::now(), plan_.patience);
  for (Resident& resident : residents_) {
    AnswerOrder(&resident);
    while (resident.answered < resident.ordered) {
      ExpectOpen(connection_.get());
      if (Clock::now() > deadline) {
        throw Failure(kInputOutput, resident.site->name() +
                                        " did not get its prices in time");
      }
      std::this_thread::sleep_for(kRetry);
      AnswerOrder(&resident);
    }
  }
}

Worker::Resident* Worker::Any() {
  const int chosen = chance_.Below(static_cast<int>(residents_.size()));
  return &residents_[static_cast<size_t>(chosen)];
}

int Worker::Share(int all, double part) const {
  const int own =
      all / plan_.connections + (index_ < all % plan_.connections ? 1 : 0);
  return static_cast<int>(own * (part < 1 ? part : 1));
}

double Worker::Progress(Clock::time_point begin) const {
  if (plan_.messages == 0) return Since(begin) / plan_.seconds;
  const int own = Share(plan_.messages, 1);
  return own > 0 ? static_cast<double>(messages_) / own : 1;
}

void Worker::Live(Clock::time_point begin, const std::atomic<bool>& stop) {
  if (plan_.size > 0) return SendReports(begin, stop);
  for (Resident& resident : residents_) {
    if (stop) return;
    Send(resident, resident.site->WholeState());
    AnswerOrder(&resident);
  }
  const double pause = plan_.rate > 0 ? plan_.connections / plan_.rate : 0;
  double due = Since(begin);
  while (!stop && Progress(begin) < 1) {
    const double now = Since(begin), part = Progress(begin);
    Resident* resident = Any();
    const int hour = static_cast<int>(now / plan_.day * 24) % 24;
    const std::vector<Outgoing> messages = resident->site->Step(hour);
    Send(*resident, messages);
    AnswerOrders();
    if (hostile_ < Share(plan_.hostile, part)) SendHostile();
    if (orders_ < Share(plan_.prices, part)) OrderPrices();
    if (pause > 0) {
      due += pause * static_cast<double>(messages.size());
      std::this_thread::sleep_until(After(begin, due));
    }
  }
  if (stop) return;
  while (hostile_ < Share(plan_.hostile, 1)) SendHostile();
  while (orders_ < Share(plan_.prices, 1)) OrderPrices();
  AwaitAnswers();
}

void Worker::Finish() {
  if (window_) window_->Finish();
}

}  // namespace fleet
