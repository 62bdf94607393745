#include "Core/Worker/DspH/HalfBandTables.h"

#include <array>
#include <cstddef>

namespace
{

using HalfBandTables::Filter;

// A half-band filter of 4k + 3 taps from h[0], h[2], ..., h[c - 1]: symmetric about c, 1/2 there, and zero at
// every other odd position.
template <std::size_t N>
constexpr std::array<double, 4 * N - 1> halfBand(const double (&values)[N])
{
    std::array<double, 4 * N - 1> h{};
    for (std::size_t i = 0; i < N; ++i) {
        h[2 * i] = values[i];
        h[h.size() - 1 - 2 * i] = values[i];
    }
    h[h.size() / 2] = 0.5;
    return h;
}

// Equiripple half-bands, designed by the Remez exchange on the one-band prototype (Vaidyanathan and Nguyen
// 1987) to a pass band of half the row's threshold: the ripple is about 5e-4. tools/design-half-bands
// reproduces these and those of tier 2.
constexpr auto kTier0Taps7 = halfBand({-0.03479867902003989, 0.2845503015939768});
constexpr auto kTier0Taps11 = halfBand({0.0097119688168435, -0.058120814978060854, 0.2985933781177963});
constexpr auto kTier0Taps15 =
    halfBand({-0.0050384409859502354, 0.02350760249811333, -0.07567945339125075, 0.3068756322515471});
constexpr auto kTier0Taps19 = halfBand({0.002187746044757789, -0.010188645458522038, 0.031139827642852624,
                                        -0.08278544641743904, 0.309795535463541});
constexpr auto kTier0Taps23 = halfBand({-0.0017122404171160859, 0.006467397632309806, -0.017374900609683896,
                                        0.03975097505923825, -0.08992925604471465, 0.3125806694854205});
constexpr auto kTier0Taps27 =
    halfBand({0.0012034348011674728, -0.004105436907962766, 0.010399218676144573, -0.02238206434866943,
              0.04480348181132618, -0.09370923161847769, 0.3139839790734858});
constexpr auto kTier0Taps31 =
    halfBand({-0.001049356321474961, 0.0030776518303982075, -0.007185309995750817, 0.014490429336884793,
              -0.02694710568101229, 0.04902326256996934, -0.09669983644704357, 0.31506579117886346});

// The ripple is about 5e-5. The lengths from 35 on serve tier 0 as well.
constexpr auto kTier1Taps7 = halfBand({-0.03183459425299591, 0.28182740965988329});
constexpr auto kTier1Taps11 = halfBand({0.0072321993529296724, -0.052603785912401099, 0.29538389625465367});
constexpr auto kTier1Taps15 =
    halfBand({-0.0024739462477476972, 0.016964637973576845, -0.067677605549640835, 0.30316989382330706});
constexpr auto kTier1Taps19 = halfBand({0.0011223860348849035, -0.0071138231685373993, 0.02620001016407858,
                                        -0.077954439878924295, 0.30776431226040218});
constexpr auto kTier1Taps23 = halfBand({-0.00065521122306150259, 0.0037065236977008331, -0.012693634822465934,
                                        0.034098213327321943, -0.085217367191459503, 0.31073944084774979});
constexpr auto kTier1Taps27 =
    halfBand({0.00044316058805536531, -0.0022295605401271806, 0.0071186353961147997, -0.017990688039270827,
              0.040219558281250692, -0.09020588025936313, 0.31266983153831818});
constexpr auto kTier1Taps31 =
    halfBand({-0.0003030354870890265, 0.0014027886962740918, -0.004271468741990205, 0.010412422302624406,
              -0.022220585155521975, 0.044535207059841618, -0.093463685573181451, 0.31388521645208833});
constexpr auto kTier1Taps35 =
    halfBand({0.00021337488605778864, -0.00092319021573380284, 0.0027078625380658628, -0.0064293676017482069,
              0.013363980720489194, -0.025604376373571464, 0.047731516152538858, -0.095762878678508662,
              0.31472320888514371});
constexpr auto kTier1Taps39 =
    halfBand({-0.0001758099855001514, 0.00068986791843339296, -0.0019127691537768293, 0.0043642594108690824,
              -0.0087822941375214035, 0.016253473290548538, -0.028670701186220414, 0.050476446662505323,
              -0.097671204633492825, 0.31540731009562373});
constexpr auto kTier1Taps43 =
    halfBand({0.00013515171768068544, -0.00049978890368569976, 0.0013415192448155287, -0.0029934279210704806,
              0.0059191223208998759, -0.010760937839729626, 0.018492881437284604, -0.030908598307362672,
              0.052396388431947397, -0.098970130557799435, 0.31586679643108684});
constexpr auto kTier1Taps47 =
    halfBand({-0.00011578117716869118, 0.00039572442529880683, -0.0010165669765169105, 0.0021986584213585948,
              -0.004244385342118696, 0.0075574886329906124, -0.01270264123156112, 0.020574728015520509,
              -0.032906505505015449, 0.054061616971706805, -0.10007588594305769, 0.31625436689235198});
constexpr auto kTier1Taps51 =
    halfBand({0.0001108893214331032, -0.00034334601253409671, 0.00083487393179907765, -0.0017347760776909851,
              0.0032462161471898004, -0.0056328812973144328, 0.0092455746149084691, -0.014590406112599659,
              0.022509502588662314, -0.034700841269871635, 0.055520677649169306, -0.10102938504545383,
              0.31658596172024411});
constexpr auto kTier1Taps55 =
    halfBand({-8.5953283744771665e-05, 0.00025839523174995768, -0.00061919602712045912, 0.0012741714987779752,
              -0.0023677887471510624, 0.0040852174264360986, -0.0066648187381876788, 0.010427951811994319,
              -0.015851787390411768, 0.023755327836678997, -0.035823972726737277, 0.056415397636353004,
              -0.10160624203999988, 0.31678525919649853});

// Designed as those of tier 0, to a pass band of the whole threshold: the ripple is about 1e-7.
constexpr auto kTier2Taps11 = halfBand({0.006043173008796522, -0.049372716932850017, 0.2933295810545195});
constexpr auto kTier2Taps15 =
    halfBand({-0.001442197083069959, 0.013017485147764128, -0.061653232520567286, 0.3000778985061436});
constexpr auto kTier2Taps19 = halfBand({0.0004253306736322925, -0.004081172311934337, 0.01991877279785593,
                                        -0.07076929640762224, 0.30450641657257344});
constexpr auto kTier2Taps23 = halfBand({-0.00014993407610300986, 0.0014752199035124728, -0.007442735242192821,
                                        0.02616533098257826, -0.07759559025203097, 0.30754766162739317});
constexpr auto kTier2Taps27 =
    halfBand({6.374666237638864e-05, -0.0006199549778024393, 0.003151576353616386, -0.011173812464821015,
              0.03171980765562359, -0.08291870745016966, 0.3097773932781607});
constexpr auto kTier2Taps31 =
    halfBand({-3.096273514027339e-05, 0.00029275098011153283, -0.0014771337058310408, 0.005254109721316432,
              -0.014856690998349463, 0.0364070161541468, -0.08699892519284111, 0.3114097873013853});
constexpr auto kTier2Taps35 = halfBand({1.7025239664926526e-05, -0.0001542992255355967, 0.0007623670253371255,
                                        -0.002692024436243425, 0.00759349434608566, -0.01832678344769461,
                                        0.04035216567241495, -0.09019914578294247, 0.3126472499624977});
constexpr auto kTier2Taps39 =
    halfBand({-1.018826586307249e-05, 8.811997808679863e-05, -0.0004240025030277516, 0.001477989716980475,
              -0.00414826381220129, 0.009960127591067708, -0.021436345229240334, 0.043601839466317446,
              -0.09269813077562251, 0.3135888050162771});
constexpr auto kTier2Taps43 =
    halfBand({6.7841302556400775e-06, -5.53816980217885e-05, 0.00025691092709416495, -0.0008757455945543714,
              0.002426851367698119, -0.00578059417402822, 0.012304102279796685, -0.024249036844641025,
              0.04635909542382802, -0.0947333946812099, 0.3143404611184175});
constexpr auto kTier2Taps47 =
    halfBand({-4.5415710661701026e-06, 3.5403132554465125e-05, -0.0001595869435252059, 0.000534686427175548,
              -0.0014680376439147778, 0.0034813438182177874, -0.007382583025439728, 0.014397799508899994,
              -0.026591005485233982, 0.048542719209061, -0.0962940165453565, 0.31490777028584294});
constexpr auto kTier2Taps51 =
    halfBand({3.468067575203173e-06, -2.5341863508880323e-05, 0.00010936637054379165, -0.00035553068228994617,
              0.0009562176402204124, -0.0022363872553375825, 0.00469545846152327, -0.009064716673812534,
              0.016445564502977503, -0.028762116073410393, 0.05049057368647311, -0.0976518497728528,
              0.3153953481644744});

template <std::size_t N>
constexpr Filter filter(const std::array<double, N>& coefficients)
{
    return {static_cast<int>(N), coefficients.data()};
}

constexpr Filter kCic{0, nullptr};
constexpr Filter kAliasError = filter(kTier1Taps51);

struct Row
{
    double threshold; // the largest fraction of the stage's input rate that the band may take up
    Filter filter;
};

// A threshold written as a difference is that double, which is not the nearest to its decimal. The rows 0.355
// and 0.37 of tier 0 never match, since 0.38 is tried first.
constexpr std::array kTier0{
    Row{1 - 0.95, kCic},
    Row{0.12, filter(kTier0Taps7)},
    Row{1 - 0.8, filter(kTier0Taps11)},
    Row{0.28, filter(kTier0Taps15)},
    Row{1 - 0.7, filter(kTier0Taps19)},
    Row{1 - 0.66, filter(kTier0Taps23)},
    Row{0.36, filter(kTier0Taps27)},
    Row{0.38, filter(kTier0Taps31)},
    Row{0.355, filter(kTier1Taps35)},
    Row{0.37, filter(kTier1Taps39)},
    Row{0.39, filter(kTier1Taps47)},
    Row{0.4, filter(kTier1Taps51)},
    Row{0.405, filter(kTier1Taps55)},
};
constexpr std::array kTier1{
    Row{1 - 0.977, kCic},
    Row{1 - 0.95, filter(kTier1Taps7)},
    Row{0.13, filter(kTier1Taps11)},
    Row{1 - 0.8, filter(kTier1Taps15)},
    Row{0.25, filter(kTier1Taps19)},
    Row{1 - 0.71, filter(kTier1Taps23)},
    Row{1 - 0.68, filter(kTier1Taps27)},
    Row{1 - 0.66, filter(kTier1Taps31)},
    Row{0.355, filter(kTier1Taps35)},
    Row{0.37, filter(kTier1Taps39)},
    Row{0.38, filter(kTier1Taps43)},
    Row{0.39, filter(kTier1Taps47)},
    Row{0.4, filter(kTier1Taps51)},
    Row{0.405, filter(kTier1Taps55)},
};
constexpr std::array kTier2{
    Row{0.0015, kCic},
    Row{0.025, filter(kTier2Taps11)},
    Row{0.049, filter(kTier2Taps15)},
    Row{0.072, filter(kTier2Taps19)},
    Row{0.091, filter(kTier2Taps23)},
    Row{0.108, filter(kTier2Taps27)},
    Row{0.122, filter(kTier2Taps31)},
    Row{0.134, filter(kTier2Taps35)},
    Row{0.144, filter(kTier2Taps39)},
    Row{0.153, filter(kTier2Taps43)},
    Row{0.16, filter(kTier2Taps47)},
    Row{0.167, filter(kTier2Taps51)},
};

template <std::size_t N>
const Filter* firstMatch(const std::array<Row, N>& rows, double rate, double band)
{
    for (const Row& row : rows) {
        if (band / row.threshold <= rate) {
            return &row.filter;
        }
    }
    return nullptr;
}

} // namespace

const Filter* HalfBandTables::choose(int tier, double rate, double band)
{
    switch (tier) {
    case 0:
        return firstMatch(kTier0, rate, band);
    case 1:
        return firstMatch(kTier1, rate, band);
    default:
        return firstMatch(kTier2, rate, band);
    }
}

const Filter& HalfBandTables::aliasErrorFilter()
{
    return kAliasError;
}
