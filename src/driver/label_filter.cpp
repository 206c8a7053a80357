#include "driver/label_filter.h"

#include <new>
#include <sstream>
#include <string>
#include <utility>

#include "driver/page_label.h"
#include "labeljob/choice_words.h"
#include "labeljob/label_job.h"

namespace Corvane::Driver {
namespace {

void Send(std::ostream& out, const std::string& bytes) {
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.flush();
  if (!out) throw IOException("Unable to write the job");
}

// One page as the bytes of its label, or PageException.
std::string Label(RasterInput& input, const cups_page_header2_t& header,
                  const JobSettings& settings, std::size_t number, bool& warnedOfCurve,
                  std::ostream& messages) {
  try {
    const LabelOptions options = ApplyPageHeader(settings.options, header);
    if (!LabelJob::TakesToneCurve(options.method) && options.curve != Brindle::kNormalCurve &&
        !warnedOfCurve) {
      messages << "WARNING: Darkness sets the threshold and the patterns; the screens print "
                  "with the normal darkness\n";
      warnedOfCurve = true;
    }
    const unsigned dotsPerMillimetre = DotsPerMillimetreOf(header);
    const LabelJob::LabelGeometry geometry = GeometryOf(header, options.gap);
    LabelJob::IssueOptions issue = options.issue;
    issue.copies = settings.copies;
    const Brindle::Bitmap canvas = PageCanvas(input, header, geometry, dotsPerMillimetre, options);

    std::ostringstream label;
    label << settings.insertions.preLabel;
    LabelJob::WriteLabelSize(label, geometry);
    LabelJob::WriteClearImageBuffer(label);
    LabelJob::WriteGraphics(label, canvas, dotsPerMillimetre);
    LabelJob::WriteIssue(label, issue);
    label << settings.insertions.postLabel;
    messages << "DEBUG: Label " << number << ": " << geometry.width << " x " << geometry.length
             << " tenths of a millimetre, gap " << geometry.gap << ", " << dotsPerMillimetre
             << " dots/mm\n";
    return std::move(label).str();
  } catch (const std::bad_alloc&) {
    throw PageException("Page " + std::to_string(number) + ": not enough memory for this page");
  } catch (const std::exception& e) {
    throw PageException("Page " + std::to_string(number) + ": " + e.what());
  }
}

// The next page's header, or false at the end; PageException for a broken one.
bool NextPage(RasterInput& input, cups_page_header2_t& header, std::size_t number) {
  try {
    return input.NextPage(header);
  } catch (const std::exception& e) {
    throw PageException("Page " + std::to_string(number) + ": " + e.what());
  }
}

}  // namespace

std::size_t WriteJob(RasterInput& input, const JobSettings& settings, std::ostream& out,
                     std::ostream& messages) {
  Send(out, settings.insertions.preJob);
  std::size_t labels = 0;
  bool warnedOfCurve = false;
  try {
    for (cups_page_header2_t header; NextPage(input, header, labels + 1);) {
      messages << "INFO: Printing label " << labels + 1 << "\n";
      Send(out, Label(input, header, settings, labels + 1, warnedOfCurve, messages));
      ++labels;
      messages << "PAGE: " << labels << " " << settings.copies << "\n" << std::flush;
    }
  } catch (const Exception&) {
    // The labels before stay whole; the job still ends as the queue asks.
    Send(out, settings.insertions.postJob);
    throw;
  }
  Send(out, settings.insertions.postJob);
  return labels;
}

}  // namespace Corvane::Driver
