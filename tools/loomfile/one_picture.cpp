#include "one_picture.h"

#include "output_target.h"

int makePicture(const PictureRequest& request, const Job& job)
{
    if (!request.target.empty())
        checkPictureTarget(request.target, request.mayReplace); // told before the picture is read
    Batch batch;
    batch.job = job;
    batch.target = request.target;
    BatchOptions options;
    options.inputs = {request.source};
    options.isAlone = true;
    options.mayReplace = request.mayReplace;
    return runBatch(batch, options);
}
