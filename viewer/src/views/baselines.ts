/** What views know of baselines. */
export const baselineDecoder = "parserVeskAlgBaselineRequest";
export const baselineKey = "BASELINE";
