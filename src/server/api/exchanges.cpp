// Kinds of exchanges; see exchanges.h.
#include "api/exchanges.h"

#include "api/documents.h"
#include "api/problem.h"

namespace vorlan::server {
namespace {

class Refusal : public Exchange {
 public:
  explicit Refusal(Answer answer) : answer_(std::move(answer)) {}
  std::optional<Answer> refusal() override { return answer_; }
  void answer(Reply reply) override { reply(answer_); }

 private:
  Answer answer_;
};

class Later : public Exchange {
 public:
  explicit Later(std::function<void(Reply)> function) : function_(std::move(function)) {}
  void answer(Reply reply) override { function_(std::move(reply)); }

 private:
  std::function<void(Reply)> function_;
};

class Change : public Exchange {
 public:
  Change(Loop* loop, Jobs* jobs, std::string id, uint64_t after, double seconds)
      : loop_(loop), jobs_(jobs), id_(std::move(id)), after_(after), seconds_(seconds) {}

  void answer(Reply reply) override {
    reply_ = std::move(reply);
    const Job* job = jobs_->find(id_);
    if (job == nullptr || job->seq != after_) return tell();
    watch_ = std::make_shared<std::function<void()>>([this] { tell(); });
    jobs_->watch(id_, watch_);
    timer_ = loop_->after(std::chrono::milliseconds(static_cast<int64_t>(seconds_ * 1000.0)),
                          [this] { tell(); });
  }

 private:
  void tell() {
    if (reply_ == nullptr) return;
    const Reply reply = std::move(reply_);
    reply_ = nullptr;
    const Job* job = jobs_->find(id_);
    if (job == nullptr) return reply(problem(404, "no-such-job", "the job was deleted"));
    Answer answer;
    answer.body = job_document(*jobs_, *job);
    reply(std::move(answer));
  }

  Loop* loop_;
  Jobs* jobs_;
  std::string id_;
  uint64_t after_;
  double seconds_;
  Reply reply_;
  Jobs::Watch watch_;
  Loop::Handle timer_;
};

class TicketStream : public Stream {
 public:
  TicketStream(std::shared_ptr<Stream> stream, std::shared_ptr<Ticket> ticket)
      : ticket_(std::move(ticket)), stream_(std::move(stream)) {}
  void next(std::function<void(std::string)> give) override { stream_->next(std::move(give)); }

 private:
  std::shared_ptr<Ticket> ticket_;
  std::shared_ptr<Stream> stream_;
};

class TicketExchange : public Exchange {
 public:
  TicketExchange(std::unique_ptr<Exchange> exchange, std::shared_ptr<Ticket> ticket)
      : ticket_(std::move(ticket)), exchange_(std::move(exchange)) {}

  uint64_t body_limit() const override { return exchange_->body_limit(); }
  std::optional<Answer> refusal() override { return exchange_->refusal(); }
  bool receive(std::string_view piece) override { return exchange_->receive(piece); }
  void answer(Reply reply) override {
    exchange_->answer([reply = std::move(reply), ticket = ticket_](Answer answer) {
      if (answer.stream != nullptr) {
        answer.stream = std::make_shared<TicketStream>(std::move(answer.stream), ticket);
      }
      reply(std::move(answer));
    });
  }

 private:
  std::shared_ptr<Ticket> ticket_;
  std::unique_ptr<Exchange> exchange_;
};

}  // namespace

Ticket::Ticket(std::shared_ptr<std::map<std::string, size_t>> open, const std::string& name)
    : open_(std::move(open)), name_(name) {
  ++(*open_)[name_];
}

Ticket::~Ticket() {
  if (--(*open_)[name_] == 0) open_->erase(name_);
}

std::unique_ptr<Exchange> with_ticket(std::unique_ptr<Exchange> exchange,
                                      std::shared_ptr<Ticket> ticket) {
  return std::make_unique<TicketExchange>(std::move(exchange), std::move(ticket));
}

std::unique_ptr<Exchange> refuse(Answer answer) {
  return std::make_unique<Refusal>(std::move(answer));
}

std::unique_ptr<Exchange> answer_now(Answer answer) {
  return answer_later([answer = std::move(answer)](const Reply& reply) { reply(answer); });
}

std::unique_ptr<Exchange> answer_later(std::function<void(Reply)> function) {
  return std::make_unique<Later>(std::move(function));
}

std::unique_ptr<Exchange> answer_change(Loop* loop, Jobs* jobs, const std::string& id,
                                        uint64_t after, double seconds) {
  return std::make_unique<Change>(loop, jobs, id, after, seconds);
}

}  // namespace vorlan::server
