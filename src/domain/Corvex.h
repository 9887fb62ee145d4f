// Corvex: the domain toolbox a monitoring host creates: query text for hourly, daily and monthly aggregates,
// validity codes, half-hour labels, numbers in text, reference oxygen, working folders, the event log, the
// regional export file, and the message window. It holds no state. Used on the thread that created it.
// Nothing is raised, but 6 for a date outside the years 100 to 9999 and what O2riferimentoVelmoraPowerV2
// raises.
#pragma once

#include <cstdint>
#include <string>

#include "automation/automation.h"
#include "common/ref.h"
#include "common/variant.h"

namespace quarno {

class Corvex : public automation::Automation<Corvex> {
 public:
  static constexpr std::string_view kClassName = "Corvex";
  static std::span<const automation::Member> members();

  Variant DatoGiorno(const std::string& Tabella, const std::string& TipoAggregato,
                     const std::string& Stazione, const std::string& giorno, const std::string& Parametro,
                     const std::string& CampoDato, const std::string& CampoValidita,
                     const Variant& CondizioneValidita, const Variant& StatoImpianto) const;
  Variant DatoMese(const std::string& Tabella, const std::string& TipoAggregato, const std::string& Stazione,
                   const std::string& Mese, const std::string& Parametro, const std::string& CampoDato,
                   const std::string& CampoValidita, const Variant& CondizioneValidita,
                   const Variant& StatoImpianto) const;
  Variant DatoOra(const std::string& Tabella, const std::string& Stazione, const std::string& giorno,
                  const std::string& Ora, const std::string& Parametro, const std::string& CampoDato,
                  const std::string& CampoValidita, const Variant& CondizioneValidita,
                  const Variant& StatoImpianto) const;
  bool Valido(const std::string& stato) const;
  bool Sostitutivo(const std::string& stato) const;
  std::string UltimaMezzora(Date Data) const;
  double StringToDouble(Ref<std::string> Valore) const;
  double O2riferimentoVelmoraPowerV2(Ref<double> PotenzaTermicaCarb, Ref<double> PotenzaTermicaOlio,
                                     Ref<double> PotenzaTermicaGas, const Variant::Array& par) const;

  Variant UsaCartella(const std::string& cartella) const;
  void CorvexLog(const std::string& evento, std::int16_t tipo, const std::string& gsDirLavoro) const;
  Variant ScriviSarvia(const std::string& NomeFile, const std::string& IDpunto, const std::string& Data,
                       std::int16_t IDinquinante, std::int16_t UnitaMisura, std::int16_t TipoDato,
                       Ref<std::string> Validita, std::int16_t PercVal, std::int16_t Note, double Valore,
                       double valoreIC) const;

  bool VisualizzaMessaggio(const std::string& Titolo, const std::string& messaggio, std::int32_t BackColor,
                           std::int32_t ForeColor, std::int16_t modo) const;
};

}  // namespace quarno
