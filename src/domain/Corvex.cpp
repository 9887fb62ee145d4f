#include "domain/Corvex.h"

#include "automation/member_table.h"
#include "common/date_text.h"
#include "common/error.h"
#include "common/text.h"
#include "domain/export_record.h"
#include "domain/measured_text.h"
#include "domain/measurement_query.h"
#include "domain/o2_reference.h"
#include "domain/status_codes.h"
#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/locale.h"

namespace quarno {
namespace {

// A query that cannot be built is an empty variant, never an error.
Variant query_or_empty(std::string (*compose)(const domain::MeasurementQuery&),
                       const domain::MeasurementQuery& query) {
  try {
    return compose(query);
  } catch (const Error&) {
    return {};
  }
}

std::string_view event_folder(std::int16_t kind) {
  switch (kind) {
    case 1: return "\\Errori";
    case 10: return "\\Manutenzione";
    case 11: return "\\ManutenzionePLV";
    case 12: return "\\Taratura";
    case 13: return "\\TaraturaPLV";
    default: return "\\log";
  }
}

// Opened, written and closed at once: writers of the same file rely on the file system's append.
void append_line(const std::string& path, const std::string& line) {
  const auto file = platform::files().open(path, platform::OpenFor::append);
  file->write(platform::code_page().to_ansi(line) + "\r\n");
  file->close();
}

}  // namespace

Variant Corvex::DatoGiorno(const std::string& Tabella, const std::string& TipoAggregato,
                           const std::string& Stazione, const std::string& giorno,
                           const std::string& Parametro, const std::string& CampoDato,
                           const std::string& CampoValidita, const Variant& CondizioneValidita,
                           const Variant& StatoImpianto) const {
  return query_or_empty(domain::day_query_text, {Tabella,
                                                 TipoAggregato,
                                                 Stazione,
                                                 giorno,
                                                 {},
                                                 Parametro,
                                                 CampoDato,
                                                 CampoValidita,
                                                 CondizioneValidita,
                                                 StatoImpianto});
}

Variant Corvex::DatoMese(const std::string& Tabella, const std::string& TipoAggregato,
                         const std::string& Stazione, const std::string& Mese, const std::string& Parametro,
                         const std::string& CampoDato, const std::string& CampoValidita,
                         const Variant& CondizioneValidita, const Variant& StatoImpianto) const {
  return query_or_empty(domain::month_query_text, {Tabella,
                                                   TipoAggregato,
                                                   Stazione,
                                                   Mese,
                                                   {},
                                                   Parametro,
                                                   CampoDato,
                                                   CampoValidita,
                                                   CondizioneValidita,
                                                   StatoImpianto});
}

Variant Corvex::DatoOra(const std::string& Tabella, const std::string& Stazione, const std::string& giorno,
                        const std::string& Ora, const std::string& Parametro, const std::string& CampoDato,
                        const std::string& CampoValidita, const Variant& CondizioneValidita,
                        const Variant& StatoImpianto) const {
  return query_or_empty(domain::hour_query_text, {Tabella,
                                                  {},
                                                  Stazione,
                                                  giorno,
                                                  Ora,
                                                  Parametro,
                                                  CampoDato,
                                                  CampoValidita,
                                                  CondizioneValidita,
                                                  StatoImpianto});
}

bool Corvex::Valido(const std::string& stato) const { return domain::is_valid_status(stato); }
bool Corvex::Sostitutivo(const std::string& stato) const { return domain::is_substituted_status(stato); }

std::string Corvex::UltimaMezzora(Date Data) const {
  // Strictly later than half past: 10:30 still belongs to "10.00".
  const std::string half = date_text(Data, "nn") > "30" ? "30" : "00";
  return date_text(Data, "hh") + "." + half;
}

double Corvex::StringToDouble(Ref<std::string> Valore) const {
  Valore.set(std::string(text::trim(Valore.value())));
  return domain::measured_number(Valore.value(), platform::locale());
}

double Corvex::O2riferimentoVelmoraPowerV2(Ref<double> PotenzaTermicaCarb, Ref<double> PotenzaTermicaOlio,
                                           Ref<double> PotenzaTermicaGas, const Variant::Array& par) const {
  for (Ref<double>* const power : {&PotenzaTermicaCarb, &PotenzaTermicaOlio, &PotenzaTermicaGas}) {
    if (power->value() == domain::kNoPower) power->set(0);
  }
  return domain::o2_reference(
      {PotenzaTermicaCarb.value(), PotenzaTermicaOlio.value(), PotenzaTermicaGas.value()}, par);
}

Variant Corvex::UsaCartella(const std::string& cartella) const {
  try {
    if (!platform::files().exists(cartella)) platform::files().create_folder(cartella);
  } catch (const Error&) {
    // The host learns of a missing folder when it uses it.
  }
  return {};
}

void Corvex::CorvexLog(const std::string& evento, std::int16_t tipo, const std::string& gsDirLavoro) const {
  const std::string folder = gsDirLavoro + std::string(event_folder(tipo));
  UsaCartella(folder);
  try {
    const LocaleInfo& locale = platform::locale();
    const std::string path = folder + "\\" + date_text(platform::clock().now(), "dd-mmmyy", locale) + ".txt";
    const std::string& separator = locale.date_separator;
    const std::string pattern = "dd" + separator + "mm" + separator + "yyyy hh.nn.ss";
    append_line(path, date_text(platform::clock().now(), pattern) + " " + evento);
  } catch (const Error&) {
    // An event that cannot be written must not stop the plant's host.
  }
}

Variant Corvex::ScriviSarvia(const std::string& NomeFile, const std::string& IDpunto, const std::string& Data,
                             std::int16_t IDinquinante, std::int16_t UnitaMisura, std::int16_t TipoDato,
                             Ref<std::string> Validita, std::int16_t PercVal, std::int16_t Note,
                             double Valore, double valoreIC) const {
  const std::string flag(domain::validity_flag(Validita.value()));
  Validita.set(flag);
  try {
    append_line(NomeFile, domain::export_record_text({IDpunto, Data, IDinquinante, UnitaMisura, TipoDato,
                                                      flag, PercVal, Note, Valore, valoreIC}));
  } catch (const Error&) {
    // No error reaches the caller; the record is missing from the file.
  }
  return std::int16_t{0};
}

bool Corvex::VisualizzaMessaggio(const std::string& Titolo, const std::string& messaggio,
                                 std::int32_t BackColor, std::int32_t ForeColor, std::int16_t modo) const {
  platform::MessageWindow& window = platform::dialogs().message_window();
  window.set_content(Titolo, messaggio, BackColor, ForeColor);
  switch (modo) {
    case 0: window.hide(); break;
    case 1:
    case 2:
      window.show();
      window.set_always_on_top(modo == 2);
      break;
    default: break;  // as visible as it was
  }
  return false;
}

namespace {

using namespace automation;

constexpr Member kMembers[] = {
    method<&Corvex::DatoGiorno>(
        "DatoGiorno",
        {param("Tabella"), param("TipoAggregato"), param("Stazione"), param("giorno"), param("Parametro"),
         param("CampoDato"), param("CampoValidita"), param("CondizioneValidita"), param("StatoImpianto")},
        "Text of the query for one day's aggregate. A null condition leaves its clause out, as does an empty "
        "CampoValidita; a condition that is neither text, empty nor null gives an empty result."),
    method<&Corvex::DatoMese>(
        "DatoMese",
        {param("Tabella"), param("TipoAggregato"), param("Stazione"), param("Mese"), param("Parametro"),
         param("CampoDato"), param("CampoValidita"), param("CondizioneValidita"), param("StatoImpianto")},
        "Text of the query for one month's aggregate; Mese is the leading part that the month's days share. "
        "Conditions as in DatoGiorno."),
    method<&Corvex::DatoOra>(
        "DatoOra",
        {param("Tabella"), param("Stazione"), param("giorno"), param("Ora"), param("Parametro"),
         param("CampoDato"), param("CampoValidita"), param("CondizioneValidita"), param("StatoImpianto")},
        "Text of the query for all columns of one hour; CampoDato is not used. A null condition leaves its "
        "clause out."),
    method<&Corvex::Valido>("Valido", {param("stato")},
                            "Whether the status code is \"00\" or \"VAL\", exactly."),
    method<&Corvex::Sostitutivo>("Sostitutivo", {param("stato")},
                                 "Whether the status code is \"20\" or \"AUX\", exactly."),
    method<&Corvex::UltimaMezzora>("UltimaMezzora", {param("Data")},
                                   "Label of the half hour: \"10.30\" after half past ten, else \"10.00\"."),
    method<&Corvex::StringToDouble>(
        "StringToDouble", {param("Valore")},
        "Number in a text with \".\" or \",\" as decimal sign; 0 when there is none. The "
        "trimmed text is written back."),
    method<&Corvex::O2riferimentoVelmoraPowerV2>(
        "O2riferimentoVelmoraPowerV2",
        {param("PotenzaTermicaCarb"), param("PotenzaTermicaOlio"), param("PotenzaTermicaGas"), param("par")},
        "Reference oxygen in percent of coal, oil and gas burnt together: entries 305, 306 and 307 of par, "
        "weighted by thermal power; 306 when nothing burns. An entry is read as its leading number with "
        "\".\". A power of -9999, not measured, is written back as 0. Raises 9 for missing entries, 11 when "
        "powers cancel out, 94 for a null entry, 6 for numbers too large."),
    method<&Corvex::UsaCartella>(
        "UsaCartella", {param("cartella")},
        "Creates the folder when nothing of that name exists; its parent must exist. Always "
        "empty; failures are not reported."),
    method<&Corvex::CorvexLog>(
        "CorvexLog", {param("evento"), param("tipo"), param("gsDirLavoro")},
        "Appends a time-stamped line to the day's event file. tipo chooses the folder: 1 Errori, "
        "10 Manutenzione, 11 ManutenzionePLV, 12 Taratura, 13 TaraturaPLV, any other log. "
        "Failures are not reported."),
    method<&Corvex::ScriviSarvia>(
        "ScriviSarvia",
        {param("NomeFile"), param("IDpunto"), param("Data"), param("IDinquinante"), param("UnitaMisura"),
         param("TipoDato"), param("Validita"), param("PercVal"), param("Note"), param("Valore"),
         param("valoreIC")},
        "Appends one record to the regional export file. Validita is written back as its flag: \"S\" for "
        "\"00\" and "
        "\"VAL\", \"X\" for \"X\", else \"N\". Always 0; failures are not reported."),
    method<&Corvex::VisualizzaMessaggio>(
        "VisualizzaMessaggio",
        {param("Titolo"), param("messaggio"), param("BackColor"), param("ForeColor"), param("modo")},
        "Writes title, text and colours (RGB, red in the low byte) into the process's one message window and "
        "returns at once. modo 0 hides it, 1 shows it, 2 shows it above all others, any other leaves it as "
        "visible as it was. A click on the text hides it too. Always false."),
};

}  // namespace

std::span<const automation::Member> Corvex::members() { return kMembers; }

}  // namespace quarno
