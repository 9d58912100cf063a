// Publishes a window of messages at once.
#include "window.h"

namespace fleet {

Window::Window(natsConnection* connection, int size, double patience,
               Counts* counts, Ledger* ledger)
    : patience_ms_(static_cast<int64_t>(patience * 1000)),
      counts_(counts),
      ledger_(ledger) {
  jsOptions options;
  jsOptions_Init(&options);
  options.PublishAsync.MaxPending = size;
  options.PublishAsync.StallWait = patience_ms_;
  options.PublishAsync.AckHandler = OnAnswer;
  options.PublishAsync.AckHandlerClosure = this;
  jsCtx* context = nullptr;
  const natsStatus status =
      natsConnection_JetStream(&context, connection, &options);
  context_.reset(context);
  if (status != NATS_OK) throw Failure(kInputOutput, Explain(status));
}

void Window::OnAnswer(jsCtx*, natsMsg* message, jsPubAck* answer,
                      jsPubAckErr* error, void* window) {
  const Msg owner(message);
  auto* self = static_cast<Window*>(window);
  if (answer != nullptr) {
    ++self->counts_->acknowledged;
    self->ledger_->Add(answer->Sequence, "stored", natsMsg_GetSubject(message),
                       {natsMsg_GetData(message),
                        static_cast<size_t>(natsMsg_GetDataLength(message))},
                       MessageId(message));
    return;
  }
  const std::lock_guard<std::mutex> lock(self->mutex_);
  if (self->failure_.empty()) {
    self->failure_ = Explain(error->Err, error->ErrCode);
  }
}

void Window::ExpectNoFailure() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!failure_.empty()) {
    throw Failure(kInputOutput, "a message was not acknowledged: " + failure_);
  }
}

void Window::Publish(const std::string& subject, const std::string& bytes,
                     const std::string& id) {
  ExpectNoFailure();
  jsPubOptions options;
  jsPubOptions_Init(&options);
  options.MaxWait = patience_ms_;
  options.MsgId = id.c_str();
  ++counts_->sent;
  const natsStatus status =
      js_PublishAsync(context_.get(), subject.c_str(), bytes.data(),
                      static_cast<int>(bytes.size()), &options);
  if (status != NATS_OK) throw Failure(kInputOutput, Explain(status));
}

void Window::Finish() {
  jsPubOptions options;
  jsPubOptions_Init(&options);
  options.MaxWait = patience_ms_;
  const natsStatus status = js_PublishAsyncComplete(context_.get(), &options);
  ExpectNoFailure();
  if (status != NATS_OK) throw Failure(kInputOutput, Explain(status));
}

}  // namespace fleet
